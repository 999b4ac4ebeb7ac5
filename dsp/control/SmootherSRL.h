#pragma once

#include "basictools/smoothing/SmootherSRL.h"  // there, because modules of engine/ glide, too
