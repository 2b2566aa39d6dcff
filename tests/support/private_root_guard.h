// Keeps a test that writes to real paths off the machine's own root.
#pragma once

// Ends the test program at once unless it runs in a private root. Called by every fixture before
// it writes anything: a test started by hand, without the launcher, must not touch the machine.
void RequirePrivateRoot();
