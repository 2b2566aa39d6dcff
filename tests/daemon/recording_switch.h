// Where the recording switch library writes down its calls, one a line.
#pragma once

inline constexpr char kSwitchCallsFile[] = "/tmp/switch_calls";
