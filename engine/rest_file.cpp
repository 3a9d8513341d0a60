#include "engine/rest_file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

int rest_open_regular(const char* path, int flags, mode_t mode)
{
  struct stat st;
  if (lstat(path, &st) == 0 && !S_ISREG(st.st_mode)) {
    errno = EINVAL;
    if (!(flags & O_CREAT) || remove(path) != 0)
      return -1;
  }
  // Somebody may have been faster: again no link is followed and nothing waited for.
  int fd = open(path, flags | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, mode);
  if (fd >= 0 && (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode))) {
    close(fd);
    errno = EINVAL;
    return -1;
  }
  return fd;
}
