#pragma once

// Where the header stood in version 1.0.
#include "linux/CairoSurface.h"
