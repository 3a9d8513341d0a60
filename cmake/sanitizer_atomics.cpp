// The sanitizers' libraries call a 64-bit atomic operation by its old name, which neither a 32-bit
// PowerPC nor its libatomic has.
#include <stdint.h>

extern "C" uint64_t compare_and_swap_8(volatile void* at, uint64_t expected,
                                       uint64_t wanted) __asm__("__sync_val_compare_and_swap_8");

uint64_t compare_and_swap_8(volatile void* at, uint64_t expected, uint64_t wanted)
{
  __atomic_compare_exchange_n(static_cast<volatile uint64_t*>(at), &expected, wanted, false,
                              __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
  return expected;
}
