// SIGQUIT writes where every thread of the process stands to the log.
#pragma once

#include <csignal>
#include <cstdint>

// Installs backtraceSignalHandler for SIGQUIT; its lines go to this category and level. Returns 0, or -1 when the
// signal cannot be caught.
[[nodiscard]] int orinlog_registerBacktrace(uint32_t category, uint32_t level);

// Logs a line of '=', then process, thread and up to 80 return addresses of the thread it runs in, and passes the
// signal on to the other threads, which add theirs. Its own errors go to ORINLOG_CAT_BACKTRACE. After
// orinlog_registerBacktrace it allocates nothing.
void backtraceSignalHandler(int signal, siginfo_t* info, void* machineContext);
