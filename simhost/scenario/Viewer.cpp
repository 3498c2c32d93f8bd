#include "scenario/Viewer.h"

#include <unistd.h>
#include <cerrno>
#include <system_error>

#include "common/Files.h"

namespace simhost {

Viewer::Viewer(std::string controllerLog)
    : controllerLog_(std::move(controllerLog)), bold_(::isatty(STDOUT_FILENO) != 0) {}

void Viewer::scene(const std::string& title, const std::vector<std::string>& lines) {
    if (!title.empty()) {
        const std::string heading = std::to_string(++number_) + ". " + title;
        write("\n" + (bold_ ? "\033[1m" + heading + "\033[0m" : heading) + "\n");
    }
    for (const auto& each : lines) line(each);
}

void Viewer::line(const std::string& text) {
    write("   " + text + "\n");
}

void Viewer::controller() {
    if (controllerLog_.empty()) return;
    if (!log_.is_open()) log_.open(controllerLog_);
    log_.clear();  // at the end of the file, which has grown since
    for (std::string text; std::getline(log_, text);) {
        unfinished_ += text;
        if (log_.eof()) break;
        line("rmc | " + unfinished_);
        unfinished_.clear();
    }
}

void Viewer::write(const std::string& text) {
    try {
        printOut(text);
    } catch (const std::system_error& error) {
        if (error.code().value() == EPIPE) throw OutputClosed{};
        throw;
    }
}

}  // namespace simhost
