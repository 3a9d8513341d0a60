// Files at a fixed place, where others may have put something else.
#pragma once

#include <sys/types.h>

// Opens a regular file; with O_CREAT among the flags a new one has this mode. No link is followed,
// and nothing else is waited for or touched: whatever is no regular file in this place makes it
// fail or, with O_CREAT, is removed for the file. -1 and errno when it cannot be opened.
int rest_open_regular(const char* path, int flags, mode_t mode = 0);
