// What members cost when what they work on grows.
#pragma once

// Prints the cost of an element at two sizes, the second a hundred times the first. Not 0 when it
// grows with the size.
int showGrowth();
