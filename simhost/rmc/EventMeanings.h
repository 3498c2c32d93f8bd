// What the numbers of service events stand for, in a few words for a person.
#pragma once

namespace simhost {

// "unknown event" for a number that neither this table nor the agent's (events/vokEventTable.h) has.
const char* eventMeaning(long long id);

}  // namespace simhost
