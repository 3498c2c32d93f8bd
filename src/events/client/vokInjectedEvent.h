// Events whose text a client supplies. They go straight to the management controller, also before the
// first inventory push.
#pragma once

#include <json/value.h>
#include <string>

// The value of an event text. False when it is no JSON, with the reason in `errors` if given, holds nothing,
// or is no object. Nesting beyond what the JSON library reads throws std::exception. Does not log.
bool vokParseInjectedEvent(const std::string& text, Json::Value& event, std::string* errors = nullptr);

// Is this a text that can be sent? Logs why not.
bool jsonValidate(char* text);

// Checks the text, marks the event as coming from the client, and sends it. 1 when the sending failed,
// otherwise 0: also when the text is refused, which only the log tells.
int sendToRMC(char* text);
