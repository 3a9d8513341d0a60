// Preloaded into a program, makes allocations fail at will (scripts/failmalloc). The file that
// FAILMALLOC names is shared with whoever decides which.
#include <dlfcn.h>
#include <errno.h>
#include <execinfo.h>
#include <fcntl.h>
#include <link.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

struct plan_t {
  int64_t left;      // allocations to come before the first one that fails; counts on below 0
  int64_t fails;     // how many fail then; behind them nothing is counted
  int64_t platform;  // those that the simulated platform makes: 0 do not count; 1 do; 2: one failed
};

static plan_t* plan;

__attribute__((constructor)) static void plan_open(void)
{
  void* frames[1];
  backtrace(frames, 1);  // its first call allocates
  const char* path = getenv("FAILMALLOC");
  int fd = path ? open(path, O_RDWR | O_CLOEXEC) : -1;
  void* memory = mmap(nullptr, sizeof(plan_t), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  close(fd);
  plan = memory == MAP_FAILED ? nullptr : static_cast<plan_t*>(memory);
}

// Whether a procedure of the platform's libraries is being called.
static bool is_in_platform(void)
{
  void* frames[64];
  const int count = backtrace(frames, sizeof frames / sizeof *frames);
  for (int i = 0; i < count; i++) {
    dl_find_object object = {};
    if (_dl_find_object(frames[i], &object) == 0 &&
        (strstr(object.dlfo_link_map->l_name, "libopenclt") ||
         strstr(object.dlfo_link_map->l_name, "libproc_libs")))
      return true;
  }
  return false;
}

static bool is_to_fail(void)
{
  if (!plan || plan->left <= -plan->fails)
    return false;
  if (plan->platform == 0 && is_in_platform())
    return false;
  int64_t left = __atomic_sub_fetch(&plan->left, 1, __ATOMIC_RELAXED);
  if (left > 0 || left <= -plan->fails)
    return false;
  if (plan->platform != 0 && is_in_platform())
    plan->platform = 2;
  errno = ENOMEM;
  return true;
}

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

void* malloc(size_t size)
{
  return is_to_fail() ? nullptr : __libc_malloc(size);
}

void* calloc(size_t count, size_t size)
{
  return is_to_fail() ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* memory, size_t size)
{
  return is_to_fail() ? nullptr : __libc_realloc(memory, size);
}

void* aligned_alloc(size_t alignment, size_t size)
{
  return is_to_fail() ? nullptr : __libc_memalign(alignment, size);
}
}
