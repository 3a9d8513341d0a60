// What the engine owes to who runs it as a service: it tells when it is ready and that it is alive,
// reads its certificate again when it is told to, warns before that ends, and tells whether it is
// healthy.
#pragma once

struct mg_server;

// From now on SIGHUP does not end the process: service_poll reads the certificate again.
void service_catch_signals(void);

// When all listeners are open that can be opened: logs what runs, and tells the service manager
// that the engine is ready, unless it listens nowhere.
void service_begin(struct mg_server* server, const char* version);

// One pass of the server's loop, and whatever else is due.
void service_poll(struct mg_server* server);

// Asks the engine that runs on this machine for its help and prints one line about the answer. 0
// when it is healthy, else 1; within REST_CHECK_TIME_S.
int service_check(void);

// What this build is stricter in, "random keys, HTTP local"; "none".
const char* service_hardened_points(void);
