// The events that a fake controller has got, for the tests of whatever raises them.
#pragma once

#include <json/value.h>
#include <vector>

#include "support/FakeIpmi.h"

// Makes a first push, before which only events of a boot or a shutdown pass, and clears its requests.
void letEventsPass(FakeIpmi& ipmi);

// The events in the requests so far, oldest first; another remote command among them fails the test.
std::vector<Json::Value> deliveredEvents(const FakeIpmi& ipmi);
std::vector<int> deliveredEventIds(const FakeIpmi& ipmi);
