// Lets the creation of threads fail in the program that this is linked into, and keeps which were joined.
#pragma once

#include <pthread.h>
#include <vector>

// How many creations succeed before all further ones fail with EAGAIN; negative: none fails.
extern int threadsThatCanBeCreated;
// What joins give without joining; 0: they join.
extern int resultOfJoins;
// In the order in which their joining began.
extern std::vector<pthread_t> joinedThreads;
