// The server of the local command-line client: one thread that reads packets from a named pipe.
#pragma once

class VOKServer {
public:
    static void initializeVOKServer();
    static void stopVOKServer();
};
