// Time: a sleep that signals do not shorten, the local time as text, a millisecond clock.
//
// Errors are logged under ORINLOG_CAT_TIME.
#pragma once

#include <cstddef>
#include <cstdint>

// Size that holds the text of orin_getLocalTimeString, in bytes.
constexpr size_t ORIN_LOCAL_TIME_SIZE = 32;

// What get_monotonic_systemtime_in_ms takes off the clock, in milliseconds. Other processes compare with it: keep it.
constexpr int64_t ORIN_MONOTONIC_SHIFT_MS = 300000;

// Waits for the whole time. A signal's handler runs, but the wait goes on for what remains of it.
void orin_sleep(uint32_t seconds, uint32_t nanoseconds);

// Writes the local time as "2024-03-05 09:07" (the year unpadded), cut to `size` bytes with the NUL.
void orin_getLocalTimeString(char* destination, size_t size);

// Milliseconds of CLOCK_MONOTONIC minus ORIN_MONOTONIC_SHIFT_MS: negative in the first five minutes after power-on.
// Logs and returns 0 when the clock cannot be read.
[[nodiscard]] int64_t get_monotonic_systemtime_in_ms();

// Milliseconds from start to end; logs and returns 0 when end is not later than start.
[[nodiscard]] int64_t get_diff_monotonic_in_ms(int64_t start, int64_t end);
