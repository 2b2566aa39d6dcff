// The namespaces that private_root moves into.
#pragma once

// Gives this process a mount and an IPC namespace of its own, and a PID namespace to the children
// that it forks from now on. A caller without the right to do so gets a user namespace first, in
// which it is root. Ends the process where that is forbidden.
void EnterNamespaces();
