// Makes an address wait whose log-ins keep failing, so that passwords cannot be guessed quickly.
// The times and numbers are those of engine/rest_config.h.
#pragma once

// Whether log-ins from this address are refused for now.
bool login_limit_refuses(const char* ip);

// Notes a log-in that failed. Returns 0, or for how many seconds log-ins from this address are
// refused from now on.
int login_limit_note_failure(const char* ip);

// Forgets the address: a log-in was good.
void login_limit_forget(const char* ip);
