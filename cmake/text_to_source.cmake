# Turns a text file into a C++ source that defines it as a constant string:
#   cmake -D TEXT=help_doc.txt -D SOURCE=help_doc.cpp -D NAME=helpText -P text_to_source.cmake
# A line "+read_only..." belongs to the one before it, with -D READ_ONLY=ON, and is left out without.
# The text ends up in read-only data. It must not hold the delimiter of the raw string below.
file(READ "${TEXT}" text)
if(READ_ONLY)
  string(REGEX REPLACE "\n\\+read_only" "" text "${text}")
else()
  string(REGEX REPLACE "\n\\+read_only[^\n]*" "" text "${text}")
endif()
string(FIND "${text}" ")END_OF_TEXT\"" delimiter)
if(NOT delimiter EQUAL -1)
  message(FATAL_ERROR "${TEXT}: holds the delimiter of the string it is to become")
endif()
file(WRITE "${SOURCE}" "extern const char ${NAME}[];\nconst char ${NAME}[] = R\"END_OF_TEXT(${text})END_OF_TEXT\";\n")
