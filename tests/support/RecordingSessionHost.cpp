#include "RecordingSessionHost.h"

RecordingSessionHost::RecordingSessionHost(Defaults &defaults, Interaction &interaction)
    : asker(&interaction), log(defaults)
{
}

void RecordingSessionHost::showFailure(const QString &message, const QList<ItemFailure> &failures)
{
    shown.append({true, message, failures});
}

void RecordingSessionHost::showSuccess(const QString &message)
{
    shown.append({false, message, {}});
}

std::optional<RecordingSessionHost::Banner> RecordingSessionHost::banner() const
{
    if (shown.isEmpty())
        return std::nullopt;
    return shown.last();
}
