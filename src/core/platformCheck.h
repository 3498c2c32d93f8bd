// Where the product's files lie on this platform. Both texts are filled on the first need.
#pragma once

#include <mutex>
#include <string>

class platformCheck {
public:
    static std::string getDirectoryPath();    // "/opt/mev/vok"
    static std::string getStartupFilePath();  // "/var/tmp/mev": a prefix, with no separator at its end
    // Fills both at once.
    static void setDirectoryPath();

private:
    static std::string filled(const std::string& text);

    static std::mutex platformCheckLock;
    static std::string directoryPath;
    static std::string startupFilePath;
};
