#include "platform/FileCopy.h"

#include <copyfile.h>

// copyfile carries the data, the mode, the dates, the extended attributes (tags and comments among
// them) and the ACL in one call.
bool FileCopy::copyContents(int in, int out)
{
    return ::fcopyfile(in, out, nullptr, COPYFILE_ALL) == 0;
}

bool FileCopy::copyMetadata(int in, int out)
{
    return ::fcopyfile(in, out, nullptr, COPYFILE_METADATA) == 0;
}
