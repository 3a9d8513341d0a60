# One cache variable for each constant of engine/rest_config.h. An empty one leaves the header's
# default; anything else is handed to the compiler: cmake -DREST_SESSION_MAX=5 ...
set(rest_config_texts
  REST_HTTP_ADDRESS REST_HTTPS_ADDRESS REST_DOCUMENT_ROOT REST_SSL_CERTIFICATE REST_SESSION_FILE
  REST_STARTUPCFG_FILE REST_HELP_DOC_FILE)
set(rest_config_numbers
  REST_POLL_TIMEOUT_MS REST_CONNECT_RETRY_S REST_SESSION_MAX REST_SESSION_TIMEOUT_S
  REST_SESSION_FILE_MODE
  REST_BODY_MAX REST_BUFFER_TOTAL_MAX REST_HEADER_TIME_S REST_BODY_MIN REST_BODY_TIME_S)

foreach(name IN LISTS rest_config_texts rest_config_numbers)
  set(${name} "" CACHE STRING "overrides ${name} of engine/rest_config.h")
endforeach()
foreach(name IN LISTS rest_config_texts)
  if(NOT "${${name}}" STREQUAL "")
    add_compile_definitions("${name}=\"${${name}}\"")
  endif()
endforeach()
foreach(name IN LISTS rest_config_numbers)
  if(NOT "${${name}}" STREQUAL "")
    add_compile_definitions("${name}=${${name}}")
  endif()
endforeach()
