// exchanges.jsonl of an archive: a line of JSON for each question with its answers.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "recording/Recording.h"

namespace recording {

std::string writeExchanges(const std::vector<Exchange>& exchanges);

// False with a sentence in `error`; two lines with the same question are refused too.
bool readExchanges(std::string_view text, std::vector<Exchange>& exchanges, std::string& error);

}  // namespace recording
