// Exceptions in a host that has the compiler's shared run-time loaded.
#pragma once

namespace zsupport {

// Every module built with this compiler registers its unwind tables at start-up. If the shared
// run-time is in the process by then, the start-up code hands our tables to that run-time, while
// our own, linked-in unwinder stays empty and the first throw aborts the process. This hands them
// to ours, too. To be called once, before anything can throw.
void registerUnwindTables();

}  // namespace zsupport
