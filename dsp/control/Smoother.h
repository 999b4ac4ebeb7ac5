#pragma once

#include "basictools/smoothing/Smoother.h"  // there, because modules of engine/ glide, too
