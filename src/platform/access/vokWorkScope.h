// The resource class that a thread works for, so that what fails or hangs can be counted to it. Scopes nest.
#pragma once

class vokWorkScope {
public:
    // `classId` is that of vokModules.h.
    explicit vokWorkScope(int classId);
    ~vokWorkScope();
    vokWorkScope(const vokWorkScope&) = delete;
    vokWorkScope& operator=(const vokWorkScope&) = delete;

    // The class of this thread's innermost scope; -1: none.
    static int current();

private:
    const int outer_;
};
