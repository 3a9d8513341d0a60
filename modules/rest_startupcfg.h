// What clients say about the startup configuration: when it was made and updated, the serial number
// of its last upload, and whether a download has replaced it. The two times are kept in the text
// file REST_STARTUPCFG_FILE as well, one "key:value" line each.
#pragma once

#include <stdint.h>

#include "engine/rest_types.h"

// Bytes of a time text, the terminator included.
constexpr int STARTUPCFG_TIME_SIZE = 24;

struct startupcfg_info_t {
  uint32_t serialNum;
  RC_t hasUpdated;
  char cfgTime[STARTUPCFG_TIME_SIZE];
  char cfgUpdateTime[STARTUPCFG_TIME_SIZE];
};

extern startupcfg_info_t startupcfgInfo;

// Starts with an empty record and the times of the file. Without a readable file it writes one, in
// a new folder where that is missing; RC_FALSE and a log line when it cannot.
RC_t initialize_transfer_variables(void);

// Takes the times that the file holds; a time that it does not hold stays as it is. RC_FALSE: it
// cannot be read.
RC_t read_startupcfg_info_file(void);

// Brings the file up to date. Whenever the machine stops, the whole old or the whole new file is
// there. RC_FALSE: some step failed, and the old file is there unless only the folder's own flush
// failed.
RC_t write_startupcfg_info_file(void);

RC_t set_startup_config_has_updated_flag(RC_t flag);
RC_t get_startup_config_has_updated_flag(RC_t* flag);

RC_t set_startup_config_serial_number(uint32_t sn);
RC_t get_startup_config_serial_number(uint32_t* sn);

// Stores a text (cut at 23 characters) and rewrites the file if it is a new one. RC_FALSE for an
// empty text or one of several lines, and, with the text stored, when the file cannot be written.
RC_t set_startup_config_time(const char* time);
RC_t set_startup_config_update_time(const char* time);

// Reads the file again and gives its text; buf takes STARTUPCFG_TIME_SIZE bytes and is empty when
// the file cannot be read (RC_FALSE).
RC_t get_startup_config_time(char* buf);
RC_t get_startup_config_update_time(char* buf);
