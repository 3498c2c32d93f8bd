// What the viewer of a play sees: numbered scenes, lines below them, and what the controller prints.
#pragma once

#include <fstream>
#include <string>
#include <vector>

namespace simhost {

// The reader of standard output has closed it.
struct OutputClosed {};

class Viewer {
public:
    // `controllerLog` is the file to which the controller prints; none: "". Scenes are numbered from 1.
    explicit Viewer(std::string controllerLog);

    // A scene begins. One without a title goes on under the title before it. As everything here, it throws
    // OutputClosed, and std::runtime_error if standard output can't be written for another reason.
    void scene(const std::string& title, const std::vector<std::string>& lines);
    void line(const std::string& text);
    // What the controller has printed since the last time.
    void controller();

private:
    void write(const std::string& text);

    std::string controllerLog_;
    std::ifstream log_;
    std::string unfinished_;  // a line of the controller's that has no end yet
    unsigned number_ = 0;
    bool bold_;
};

}  // namespace simhost
