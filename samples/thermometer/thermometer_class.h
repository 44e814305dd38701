// The sample event source. It lives in the program that uses it and is not registered; the type
// library that describes it is a resource of that program.
#pragma once

#include "Thermometer.h"

// A new thermometer, with the reference of the caller; null when there is no memory or no type
// library.
_Thermometer* createThermometer();
