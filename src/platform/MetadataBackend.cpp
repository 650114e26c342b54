#include "platform/MetadataBackend.h"

MetadataWriteFailure::MetadataWriteFailure(int status, QString text)
    : std::runtime_error(text.toStdString()), code(status), message(std::move(text))
{
}
