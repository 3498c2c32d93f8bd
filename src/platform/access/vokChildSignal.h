// The handler of SIGCHLD that a vendor's library needs while it starts processes of its own.
#pragma once

// Deliberately empty.
void sighdlr(int);
