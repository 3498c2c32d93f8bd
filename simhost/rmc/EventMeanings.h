// What the numbers of service events stand for, in a few words for a person.
#pragma once

namespace simhost {

// "unknown event" for a number that no table knows.
const char* eventMeaning(long long id);

}  // namespace simhost
