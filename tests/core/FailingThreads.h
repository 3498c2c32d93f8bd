// Lets the creation of threads fail in the program that this is linked into.
#pragma once

// How many creations succeed before all further ones fail with EAGAIN; negative: none fails.
extern int threadsThatCanBeCreated;
