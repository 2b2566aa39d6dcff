// The signals by which the daemon is controlled: only its main thread takes them.
#pragma once

#include <csignal>
#include <initializer_list>

inline sigset_t ControlSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGALRM}) {
        sigaddset(&signals, signal);
    }
    return signals;
}
