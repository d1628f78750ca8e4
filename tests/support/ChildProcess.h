// Runs a part of a test in a child process: whatever changes the process's identity, environment or
// the library's process-wide state.
#ifndef KOLN_TESTS_CHILD_PROCESS_H
#define KOLN_TESTS_CHILD_PROCESS_H

#include <functional>

// Runs `body` in a forked child and waits for it. Expectations that fail there fail here, at their
// own file and line; so does a child that crashes, hangs or lets an exception out.
void inChild(const std::function<void()>& body);

#endif
