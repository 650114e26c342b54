#pragma once

// What differs between the systems when a file is copied: carrying the bytes, mode, dates and
// extended attributes from one open descriptor to another. False with errno set when it failed.
namespace FileCopy {

bool copyContents(int in, int out);

} // namespace FileCopy
