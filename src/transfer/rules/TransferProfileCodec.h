#pragma once

#include "transfer/rules/TransferProfile.h"

#include <QByteArray>

#include <optional>

// The .vantreltransfer file: one JSON object, pretty-printed with its keys sorted, dates in ISO 8601 UTC
// to the second, UUIDs upper-case. Every key is required and an unknown one is passed over; a case is an
// object with exactly one key, its name, and a payload object ("_0" for an unnamed list).
namespace TransferProfileCodec {

QByteArray encode(const TransferProfile &profile);
// Nothing, with the decoder's reason in `error`, when the bytes aren't such a profile.
std::optional<TransferProfile> decode(const QByteArray &bytes, QString *error = nullptr);

} // namespace TransferProfileCodec
