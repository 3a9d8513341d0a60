# REST_VERSION: the project's version and, in a checkout, the commit that is built ("0.1.0 (f15b094)").
set(REST_VERSION ${PROJECT_VERSION})
set(commit "")
if(EXISTS ${CMAKE_SOURCE_DIR}/.git)
  execute_process(
    COMMAND git rev-parse --short=7 HEAD WORKING_DIRECTORY ${CMAKE_SOURCE_DIR}
    OUTPUT_VARIABLE commit OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()
if(commit)
  string(APPEND REST_VERSION " (${commit})")
  execute_process(
    COMMAND git rev-parse --git-path logs/HEAD WORKING_DIRECTORY ${CMAKE_SOURCE_DIR}
    OUTPUT_VARIABLE log OUTPUT_STRIP_TRAILING_WHITESPACE)
  get_filename_component(log ${log} ABSOLUTE BASE_DIR ${CMAKE_SOURCE_DIR})
  if(EXISTS ${log})
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${log}) # it grows with each commit
  endif()
endif()
