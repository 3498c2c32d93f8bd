// Events whose text a client supplies. They go straight to the management controller, also before the
// first inventory push.
#pragma once

#include <json/value.h>
#include <string>

// Parses the text of an event. False if it is not JSON, with the reason in `errors` if given, or is empty.
// The value need not be an object, and only an object can be sent. Nesting deeper than the JSON library
// allows throws std::exception. Does not log.
bool vokParseInjectedEvent(const std::string& text, Json::Value& event, std::string* errors = nullptr);

// True if the text is JSON and not empty; otherwise logs the reason.
bool jsonValidate(char* text);

// Checks the text, marks the event as coming from the client, and sends it. Returns 1 if sending failed,
// otherwise 0, even if the text was refused, which is only logged.
int sendToRMC(char* text);
