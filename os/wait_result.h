// What the waits of events and semaphores take and return.
#pragma once

// Results.
inline constexpr int kWaitSignaled = 0;
inline constexpr int kWaitTimeout = 102;
inline constexpr int kWaitError = -1;

// Time-outs are milliseconds; this one means no limit.
inline constexpr unsigned int kWaitInfinite = 4294967295U;
