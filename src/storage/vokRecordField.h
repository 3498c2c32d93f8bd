// One field of a storage record: the member NAME_ and its virtual accessors getNAME() and setNAME(), in this
// order. A record lists its fields in the order of its slots; the access is private after each of them.
#pragma once

#include <string>
#include <utility>

#define VOK_RECORD_TEXT(name)                   \
public:                                         \
    virtual std::string get##name() const {     \
        return name##_;                         \
    }                                           \
    virtual void set##name(std::string value) { \
        name##_ = std::move(value);             \
    }                                           \
                                                \
private:                                        \
    std::string name##_

#define VOK_RECORD_VALUE(type, name, initial) \
public:                                       \
    virtual type get##name() const {          \
        return name##_;                       \
    }                                         \
    virtual void set##name(type value) {      \
        name##_ = value;                      \
    }                                         \
                                              \
private:                                      \
    type name##_ = initial
