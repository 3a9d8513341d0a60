# What makes a fault in memory harder to use, as far as the compiler and the processor have it.
# scripts/hardened checks the finished file.
include(CheckCXXCompilerFlag)

foreach(flag -fstack-clash-protection -fcf-protection)
  string(MAKE_C_IDENTIFIER "has${flag}" has_flag)
  check_cxx_compiler_flag(${flag} ${has_flag})
  if(${has_flag})
    add_compile_options(${flag})
  endif()
endforeach()
# Needs the optimiser, and hides from AddressSanitizer what it looks for.
if(CMAKE_BUILD_TYPE STREQUAL "Release")
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()
add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack)
