// Ports, paths and limits of the engine. They are fixed when it is built: each can be overridden
// by the CMake cache variable of the same name (cmake -DREST_SESSION_TIMEOUT_S=600), and defaults
// to what the switch uses.
#pragma once

// What a build for a machine with strangers around it is stricter in. REST_HARDENED is the default
// of each of the points below: docs/hardening.md tells what they change.
#ifndef REST_HARDENED
#define REST_HARDENED 0
#endif

// Session keys come from the kernel's random source, not from address and time.
#ifndef REST_RANDOM_KEYS
#define REST_RANDOM_KEYS REST_HARDENED
#endif

// Accounts that may only read do only that.
#ifndef REST_READ_ONLY_ACCOUNTS
#define REST_READ_ONLY_ACCOUNTS REST_HARDENED
#endif

// An address whose log-ins keep failing has to wait.
#ifndef REST_LOGIN_LIMIT
#define REST_LOGIN_LIMIT REST_HARDENED
#endif

// Answers forbid to keep and to guess at them.
#ifndef REST_SAFE_HEADERS
#define REST_SAFE_HEADERS REST_HARDENED
#endif

// Who is served over plain HTTP: nobody, this machine, all.
#define REST_HTTP_OFF   0
#define REST_HTTP_LOCAL 1
#define REST_HTTP_ALL   2
#ifndef REST_HTTP
#define REST_HTTP (REST_HARDENED ? REST_HTTP_LOCAL : REST_HTTP_ALL)
#endif

// Where the server listens: "port" for all IPv4 addresses or "address:port".
#ifndef REST_HTTP_ADDRESS
#if REST_HTTP == REST_HTTP_LOCAL
#define REST_HTTP_ADDRESS "127.0.0.1:8080"
#else
#define REST_HTTP_ADDRESS "8080"
#endif
#endif
#ifndef REST_HTTPS_ADDRESS
#define REST_HTTPS_ADDRESS "8446"
#endif

// The folder that holds everything the engine keeps on flash.
#ifndef REST_DOCUMENT_ROOT
#define REST_DOCUMENT_ROOT "/mnt/tarvexia"
#endif

// PEM file with the certificate, its private key and the chain (path: at most 99 characters).
#ifndef REST_SSL_CERTIFICATE
#define REST_SSL_CERTIFICATE REST_DOCUMENT_ROOT "/ssl.pem"
#endif

// Text file with the live sessions, rewritten at every change for other processes to read.
#ifndef REST_SESSION_FILE
#define REST_SESSION_FILE "/tmp/restsessionstatus"
#endif

// Who may read and write that file: it holds the session keys.
#ifndef REST_SESSION_FILE_MODE
#define REST_SESSION_FILE_MODE 0640
#endif

// Text file with the creation and update time of the startup configuration.
#ifndef REST_STARTUPCFG_FILE
#define REST_STARTUPCFG_FILE REST_DOCUMENT_ROOT "/user-apps/startupcfg_info_doc"
#endif

// Help document read by the file variant of the help parser.
#ifndef REST_HELP_DOC_FILE
#define REST_HELP_DOC_FILE "/mnt/flash/user-apps/help_doc"
#endif

// Longest wait of one pass of the server loop, in milliseconds.
#ifndef REST_POLL_TIMEOUT_MS
#define REST_POLL_TIMEOUT_MS 1000
#endif

// Pause between two tries to reach the management API at start-up, in seconds.
#ifndef REST_CONNECT_RETRY_S
#define REST_CONNECT_RETRY_S 1
#endif

// How long --check waits for an answer, in seconds.
#ifndef REST_CHECK_TIME_S
#define REST_CHECK_TIME_S 5
#endif

// How often the engine looks at how long its certificate still holds, in seconds.
#ifndef REST_CERTIFICATE_CHECK_S
#define REST_CERTIFICATE_CHECK_S (24 * 60 * 60)
#endif

// Login sessions that can be live at the same time.
#ifndef REST_SESSION_MAX
#define REST_SESSION_MAX 5
#endif

// Idle time after which a session expires unless changed at run time, in seconds.
#ifndef REST_SESSION_TIMEOUT_S
#define REST_SESSION_TIMEOUT_S 300
#endif

// With REST_LOGIN_LIMIT: so many failed log-ins of an address in so many seconds, and those that
// follow are refused for the first pause, which doubles with each repetition up to the longest. The
// addresses that are remembered, some 120 bytes each; the one that failed longest ago makes room.
#ifndef REST_LOGIN_TRIES
#define REST_LOGIN_TRIES 5
#endif
#ifndef REST_LOGIN_WINDOW_S
#define REST_LOGIN_WINDOW_S 60
#endif
#ifndef REST_LOGIN_PAUSE_S
#define REST_LOGIN_PAUSE_S 30
#endif
#ifndef REST_LOGIN_PAUSE_MAX_S
#define REST_LOGIN_PAUSE_MAX_S (15 * 60)
#endif
#ifndef REST_LOGIN_ADDRESSES
#define REST_LOGIN_ADDRESSES 1024
#endif

// Bytes of the longest request body, or WebSocket frame, that is read; more is answered with 413.
#ifndef REST_BODY_MAX
#define REST_BODY_MAX (8 * 1024 * 1024)
#endif

// Received bytes that all connections may hold together. Beyond it the one that holds the most is
// closed, but none that holds at most 64 KiB.
#ifndef REST_BUFFER_TOTAL_MAX
#define REST_BUFFER_TOTAL_MAX (32 * 1024 * 1024)
#endif

// Time from the first byte of a request to the end of its headers, in seconds.
#ifndef REST_HEADER_TIME_S
#define REST_HEADER_TIME_S 30
#endif

// Bytes of a body that must come in each REST_BODY_TIME_S, in seconds, until it is complete.
#ifndef REST_BODY_MIN
#define REST_BODY_MIN 1024
#endif
#ifndef REST_BODY_TIME_S
#define REST_BODY_TIME_S 30
#endif

// The server option "listening_port": plain HTTP and HTTPS.
#define REST_HTTPS_LISTENER "ssl://" REST_HTTPS_ADDRESS ":" REST_SSL_CERTIFICATE
#if REST_HTTP == REST_HTTP_OFF
#define REST_LISTENING_PORT REST_HTTPS_LISTENER
#else
#define REST_LISTENING_PORT REST_HTTP_ADDRESS "," REST_HTTPS_LISTENER
#endif
