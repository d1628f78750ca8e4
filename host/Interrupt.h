// The user's wish to stop: SIGINT and SIGTERM.
#ifndef KOLN_HOST_INTERRUPT_H
#define KOLN_HOST_INTERRUPT_H

namespace host {

/// Makes SIGINT and SIGTERM end the process at once with exit code 130, and ignores SIGPIPE: a
/// closed pipe is an error of the write.
void handleInterrupts() noexcept;

/// From now on a signal asks for an orderly end, which must come within a second; a second signal
/// does not wait for it. For the time when there is a result that must not be torn and a runtime to
/// end.
void endOrderly() noexcept;

/// Whether an orderly end has been asked for.
bool interruptRequested() noexcept;

}  // namespace host

#endif
