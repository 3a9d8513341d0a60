// What the fuzz targets share.
#pragma once

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <string>
#include <vector>

static inline void require(bool holds)
{
  if (!holds)
    abort();
}
