// Leaves folders out of PATH in which others than root could put programs.
#pragma once

// The compression of the start-up ring, and what modules execute, is found through PATH. A folder
// in it that does not belong to root, that everybody can write or that is not absolute is left
// out, with its reason at level 1; when none is left the usual folders take their place.
// Without a PATH nothing is changed. Before there are other threads: it changes the environment.
void LeaveOpenSearchFolders();
