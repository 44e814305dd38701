// What the services beside the collection cost, next to the calls of the platform that they must
// make: settings, an error that goes to the log file, and the first object of a process.
#pragma once

// Shows one line each; 1 when one is dearer than it may be.
int benchServices();

// What a process of its own does, started with the arguments "first" and a name of a class: makes
// an object of it, and returns how many microseconds that took.
int timeFirstObject(const wchar_t* progId);
