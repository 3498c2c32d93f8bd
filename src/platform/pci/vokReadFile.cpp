#include "platform/pci/vokReadFile.h"

#include <unistd.h>
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "platform/access/vokMallocPtr.h"
#include "platform/access/vokOwnedDescriptor.h"
#include "platform/pci/vokSysfsReaders.h"

namespace {

constexpr std::uint32_t step = 2048;
constexpr std::size_t lengthSize = sizeof(std::uint32_t);

using Buffer = vokMallocPtr<char>;

// Leaves the buffer null if there is no memory.
void resize(Buffer& buffer, std::uint32_t room) {
    auto* const grown = static_cast<char*>(std::realloc(buffer.get(), lengthSize + room));
    if (grown) static_cast<void>(buffer.release());
    buffer.reset(grown);
}

}  // namespace

char* ReadFile(const char* path) {
    const vokOwnedDescriptor file(vokOpenAttribute(path));
    if (!file) return nullptr;
    Buffer buffer;
    std::uint32_t length = 0;
    std::uint32_t room = step;
    resize(buffer, room);
    while (buffer && length < vokGreatestFile) {
        const ssize_t count =
            ::read(file.get(), ReadFileData(buffer.get()) + length, std::min(step, vokGreatestFile - length));
        if (count < 1) break;
        length += static_cast<std::uint32_t>(count);
        if (room - length < step) resize(buffer, room += step);
    }
    if (buffer) std::memcpy(buffer.get(), &length, lengthSize);
    return buffer.release();
}

std::uint32_t ReadFileLength(const char* buffer) {
    std::uint32_t length = 0;
    std::memcpy(&length, buffer, lengthSize);
    return length;
}

char* ReadFileData(char* buffer) {
    return buffer + lengthSize;
}

char** ReadFileLines(const char* path, int* count) {
    *count = 0;
    const Buffer buffer(ReadFile(path));
    if (!buffer) return nullptr;
    const std::uint32_t length = ReadFileLength(buffer.get());
    const char* const data = ReadFileData(buffer.get());
    auto lines = static_cast<std::size_t>(std::count(data, data + length, '\n'));
    if (length > 0 && data[length - 1] != '\n') ++lines;

    const std::size_t listSize = (lines + 1) * sizeof(char*);
    auto** const list = static_cast<char**>(std::malloc(listSize + length + 1));
    if (!list) return nullptr;
    char* text = reinterpret_cast<char*>(list) + listSize;
    std::memcpy(text, data, length);
    text[length] = '\n';  // now every line ends with one
    for (std::size_t i = 0; i < lines; ++i) {
        list[i] = text;
        char* const end = static_cast<char*>(::rawmemchr(text, '\n'));
        *end = '\0';
        text = end + 1;
    }
    list[lines] = nullptr;
    *count = static_cast<int>(lines);
    return list;
}
