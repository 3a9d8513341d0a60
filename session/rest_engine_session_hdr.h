// The login sessions: a small fixed table in memory, mirrored in a text file for other processes.
//
// A session is named by its key and is valid only from the client address that logged in.
#pragma once

#include <stdint.h>

#include "engine/rest_config.h"
#include "engine/rest_types.h"

struct api_loginsession_t {
  uint32_t session_id;          // 0 marks a free slot
  char session_key[33];         // 32 lower-case hexadecimal digits; empty in a free slot
  char user_name[256];          // login name
  char remote_ip[48];           // client address
  uint16_t remote_port;         // client port at login
  uint32_t login_time;          // seconds since the epoch
  uint32_t last_activity_time;  // seconds since the epoch of the last answered request
  bool is_read_only;            // its account may only read, and this build sees to that
};

// The slots in order of creation into free ones, the next id to hand out, and the idle time after
// which a session expires (0 would mean never).
extern api_loginsession_t session_table[REST_SESSION_MAX];
extern uint32_t next_ssid;
extern uint32_t session_timeout_seconds;

// Seconds since the epoch. When the time of day has jumped by more than two seconds, the sessions'
// times are moved by as much first: a clock that is set ends nothing.
uint32_t session_now(void);

// Opens a session and writes its key into sessionKey (33 bytes). RC_FALSE when no slot is free, or
// there is no key for it.
RC_t create_session(const char* user, const char* ip, uint16_t port, unsigned char* sessionKey,
                    bool is_read_only = false);

// Whether no slot is free.
bool session_table_is_full(void);

// The id of the session with this key and address, or 0. Expiry is not checked here.
uint32_t get_session_id(const char* ip, const char* sessionKey);

// Frees the session's slot; RC_FALSE if there is no such id.
RC_t delete_session(uint32_t ssid);

// Restarts the session's idle time; RC_FALSE if there is no such id.
RC_t update_last_activity_time(uint32_t ssid);

// Frees every session that has been idle for the whole timeout or longer.
void clear_expired_session(void);

// Writes the ids of all slots, free ones as 0, ascending into ssid_ary (REST_SESSION_MAX entries)
// and their number into *count. RC_FALSE for null arguments.
RC_t get_session_id_list(int32_t* ssid_ary, uint32_t* count);

// Order of two ids for qsort, ascending.
int compare(const void* arg1, const void* arg2);

// Copies a session's record; RC_FALSE for a null output or an unknown id.
RC_t get_the_session_by_id(uint32_t ssid, api_loginsession_t* out_session);

// The idle time after which sessions expire, in seconds.
RC_t set_session_timeout(uint32_t value);
RC_t get_session_timeout(uint32_t* value);

// Makes the status file hold one line for each session, whoever has touched it. What is no file of
// this user's own in its place is replaced, not followed. RC_FALSE if it cannot be opened.
RC_t output_session_file(void);

// Before requests are waited for, which are then served one after the other: the status file is
// looked at with the first of them only, since all were sent before. Where this is never called, it
// is looked at each time.
void session_begin_pass(void);
