#include "switchsim/model/sim_area.h"

namespace
{
std::vector<const sim_area_t*> used;

template <class... Args>
void tell(void (*sim_area_t::*event)(Args...), Args... args)
{
  for (const sim_area_t* area : used)
    if (area->*event != nullptr)
      (area->*event)(args...);
}
}  // namespace

void sim_areas_use(const std::vector<const sim_area_t*>& areas)
{
  used = areas;
}

const std::vector<const sim_area_t*>& sim_areas()
{
  return used;
}

void sim_tell_if_removed(uint32_t number)
{
  tell(&sim_area_t::if_removed, number);
}

void sim_tell_if_unrouted(uint32_t number)
{
  tell(&sim_area_t::if_unrouted, number);
}

void sim_tell_restarted()
{
  tell(&sim_area_t::restarted);
}
