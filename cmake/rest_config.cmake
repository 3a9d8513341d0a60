# One cache variable for each constant of engine/rest_config.h. An empty one leaves the header's
# default; anything else is handed to the compiler: cmake -DREST_SESSION_MAX=5 ...
set(rest_config_texts
  REST_HTTP_ADDRESS REST_HTTPS_ADDRESS REST_DOCUMENT_ROOT REST_SSL_CERTIFICATE REST_SESSION_FILE
  REST_STARTUPCFG_FILE REST_HELP_DOC_FILE)
set(rest_config_numbers
  REST_POLL_TIMEOUT_MS REST_CONNECT_RETRY_S REST_SESSION_MAX REST_SESSION_TIMEOUT_S
  REST_SESSION_FILE_MODE
  REST_CHECK_TIME_S REST_CERTIFICATE_CHECK_S
  REST_LOGIN_TRIES REST_LOGIN_WINDOW_S REST_LOGIN_PAUSE_S REST_LOGIN_PAUSE_MAX_S REST_LOGIN_ADDRESSES
  REST_BODY_MAX REST_BUFFER_TOTAL_MAX REST_HEADER_TIME_S REST_BODY_MIN REST_BODY_TIME_S)
# ON or OFF; empty: as REST_HARDENED.
set(rest_config_switches REST_RANDOM_KEYS REST_READ_ONLY_ACCOUNTS REST_LOGIN_LIMIT REST_SAFE_HEADERS)
option(REST_HARDENED "Be stricter where strangers are around: docs/hardening.md" OFF)
set(REST_HTTP "" CACHE STRING "who is served over HTTP: off, local or all; empty: as REST_HARDENED")

foreach(name IN LISTS rest_config_texts rest_config_numbers rest_config_switches)
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
if(REST_HARDENED)
  add_compile_definitions(REST_HARDENED=1)
endif()
foreach(name IN LISTS rest_config_switches)
  if(NOT "${${name}}" STREQUAL "")
    add_compile_definitions("${name}=$<BOOL:${${name}}>")
  endif()
endforeach()
if(NOT "${REST_HTTP}" STREQUAL "")
  if(NOT "${REST_HTTP}" MATCHES "^(off|local|all)$")
    message(FATAL_ERROR "REST_HTTP is off, local or all, not ${REST_HTTP}")
  endif()
  string(TOUPPER ${REST_HTTP} choice)
  add_compile_definitions(REST_HTTP=REST_HTTP_${choice})
endif()
