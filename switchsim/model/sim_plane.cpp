#include "switchsim/model/sim_plane.h"

namespace
{
const sim_plane_t* used;
}  // namespace

void sim_plane_use(const sim_plane_t& plane)
{
  used = &plane;
}

const sim_plane_t& sim_plane()
{
  return *used;
}
