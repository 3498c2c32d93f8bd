// The server of the local command-line client: one thread that reads packets from a named pipe, carries out
// each request and then answers it. One request is served at a time.
#pragma once

class VOKServer {
public:
    // Starts the thread. A failure is logged; a second start while it runs does nothing.
    static void initializeVOKServer();
    // Ends the thread and joins it; a request in progress is finished first. Without a running server it
    // only logs.
    static void stopVOKServer();
};

// The body of the thread. The argument is not used. Returns null.
void* startTestEventServer(void*);

// The anonymous pipe that wakes the server for its stop, read end first; -1 while there is none.
extern int serStopPipeFd[2];
// Reserved; -1.
extern int pipefd[2];
