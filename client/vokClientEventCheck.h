// What is unusual about an event that a user injects. None of it prevents sending.
#pragma once

#include <json/value.h>
#include <string>
#include <vector>

// `text` is the event as the user wrote it, `event` the object in it. Each finding is a clause, such as "the
// event has no ID".
std::vector<std::string> vokCheckEvent(const std::string& text, const Json::Value& event);
