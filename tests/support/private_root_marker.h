// The file that tells a private root from the machine's own root.
#pragma once

// Made by private_root; RequirePrivateRoot() (tests/support/private_root_guard.h) demands it.
inline constexpr char kPrivateRootMarker[] = "/run/morla-private-root";
