// Lets a resource manager request a push of the whole inventory without depending on the code that sends
// it.
#pragma once

// Requests a push; does nothing if no function is bound.
void vokRequestPush();
// Binds the function that sends the inventory. Called when the library is loaded, and by tests before any
// thread runs.
void vokBindPushRequest(void (*request)());
