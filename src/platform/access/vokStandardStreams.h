// The three standard streams of a program, which its caller may have closed.
#pragma once

// Opens each standard stream that is closed, so that each use of it fails. Otherwise the next file that is
// opened would become that stream and be written into. For the start of a program.
void vokOccupyClosedStandardStreams();
