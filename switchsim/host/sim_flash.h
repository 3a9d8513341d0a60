// The flash of the simulated switch: one folder of this machine, with files and nothing else in it.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "switchsim/config/sim_store.h"
#include "switchsim/model/sim_area.h"

// The folder, without a slash at its end. A temporary one that lasts as long as the process, unless
// another was chosen.
const std::string& sim_flash_folder();

// Its files, as the switch keeps configurations and scripts in them.
extern const sim_store_t sim_flash_store;

// ---- files too large for memory ----

struct sim_file_close_t {
  void operator()(FILE* file) const;
};
using sim_file_t = std::unique_ptr<FILE, sim_file_close_t>;

// Opens a file for reading and tells its size in bytes; null when there is none.
sim_file_t sim_flash_open(const std::string& name, uint64_t& size);

// Bytes that the flash has room for.
uint64_t sim_flash_free();

// A file on its way onto the flash, beside the one that it replaces and under no name that a file
// can have. Its bytes may be written without the switch's lock. It goes away unless it is kept.
struct sim_flash_part_t {
  std::string target;
  std::string path;  // empty: nothing is there to go away
  sim_file_t file;

  sim_flash_part_t() = default;
  ~sim_flash_part_t();
  sim_flash_part_t(const sim_flash_part_t&) = delete;
  sim_flash_part_t& operator=(const sim_flash_part_t&) = delete;
};
// False when the name is none or the folder cannot be written.
bool sim_flash_part_open(const std::string& name, sim_flash_part_t& part);
// Puts the whole file in place; false, and the part is gone, when not all of it could be written.
bool sim_flash_part_keep(sim_flash_part_t& part);
void sim_flash_part_drop(sim_flash_part_t& part);

extern const sim_area_t sim_flash_area;
