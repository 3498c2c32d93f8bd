// Returns the resource managers by id.
#pragma once

class vokResourceManager;

class vokFactory {
public:
    // The manager of a resource id: the singleton itself, not owned by the caller. Null for an id without
    // a manager.
    vokResourceManager* createInstance(int id);
};
