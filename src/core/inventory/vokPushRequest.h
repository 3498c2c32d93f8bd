// A resource manager's way to ask for a push of the whole inventory, without knowing who sends it.
#pragma once

// Asks for a push; nothing happens when nobody is bound.
void vokRequestPush();
// Binds who sends the inventory. Called when the library is loaded, and by tests before any thread runs.
void vokBindPushRequest(void (*request)());
