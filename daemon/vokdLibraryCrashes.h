// A crash in a vendor's library: it is recorded, and a library that has killed the agent repeatedly is left
// out of the next start.
#pragma once

// Decides which libraries are left out of this run, and logs a warning for each. From now on the death of the
// process within a call of a library is recorded (platform/access/vokLibraryCrashes.h): by a signal that its
// own code has caused, or by exit(3), after which the process ends with `exitStatus`. What else a signal does
// stays as it was.
void vokdRecordLibraryCrashes(int exitStatus);
