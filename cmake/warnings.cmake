# Warnings are errors, and the unbounded string calls with them. Another compiler than those that
# this tree is kept clean for may warn of more.
option(REST_WARNINGS_ARE_ERRORS "Fail the build at a warning" ON)
if(REST_WARNINGS_ARE_ERRORS)
  add_compile_options(-Werror)
endif()
add_compile_options(
  -Wall -Wextra -Wshadow -Wformat=2 -Wundef -Wcast-qual -Wcast-align -Wpointer-arith
  -Wnon-virtual-dtor -Woverloaded-virtual -Wvla -Wnull-dereference
  -Wno-missing-field-initializers
  -fno-strict-overflow -fstack-protector-strong
  -include ${CMAKE_SOURCE_DIR}/cmake/forbidden_calls.h)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # A text cut at its buffer's end is how lengths are bounded here.
  add_compile_options(-Wduplicated-cond -Wlogical-op -Wformat-signedness -Wno-format-truncation)
endif()

if(REST_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
  if(CMAKE_CROSSCOMPILING)
    add_library(sanitizer_atomics OBJECT ${CMAKE_SOURCE_DIR}/cmake/sanitizer_atomics.cpp)
    link_libraries(sanitizer_atomics)
  endif()
endif()
if(REST_COVERAGE)
  add_compile_options(--coverage)
  add_link_options(--coverage)
endif()
