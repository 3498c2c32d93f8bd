// The text of a request for a test event is a number and a location, whatever it holds.
#include <cctype>
#include <climits>

#include "FuzzInput.h"
#include "events/client/vokTestEvent.h"

namespace {

// The number at the front of the first word, as the C library reads one; the nearest that an int holds.
int restatedId(const std::string& word) {
    std::size_t at = 0;
    while (at < word.size() && std::isspace(static_cast<unsigned char>(word[at]))) ++at;
    const bool isNegative = at < word.size() && word[at] == '-';
    if (at < word.size() && (word[at] == '-' || word[at] == '+')) ++at;
    long long number = 0;
    for (; at < word.size() && word[at] >= '0' && word[at] <= '9'; ++at)
        if (number <= INT_MAX) number = number * 10 + (word[at] - '0');
    if (isNegative) number = -number;
    return number > INT_MAX ? INT_MAX : number < INT_MIN ? INT_MIN : static_cast<int>(number);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = textOf(data, size);
    const vokTestEventRequest request = vokReadTestEventRequest(text);
    const std::size_t blank = text.find(' ');
    const bool hasLocation = blank != std::string::npos;
    const std::string word = hasLocation ? text.substr(0, blank) : text;
    require(request.id == restatedId(word));
    if (hasLocation)
        require(word + ' ' + request.location == text);
    else
        require(request.location == "FFFFFFFFFFFFFFFF");

    // What is written plainly is read as it was meant.
    const std::string location = request.location;
    const vokTestEventRequest again = vokReadTestEventRequest(std::to_string(request.id) + ' ' + location);
    require(again.id == request.id && again.location == location);
    return 0;
}
