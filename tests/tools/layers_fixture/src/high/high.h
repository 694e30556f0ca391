#pragma once
#include "low/low.h"  // points down: allowed
int high();
