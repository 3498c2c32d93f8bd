// An owner whose copy owns a copy of the object: a record that has one is copied with all that it holds. The
// object's type has `std::unique_ptr<Type> clone() const`.
#pragma once

#include <memory>
#include <utility>

template <typename Type>
class vokClonePtr {
public:
    vokClonePtr() = default;
    explicit vokClonePtr(std::unique_ptr<Type> object) : object_(std::move(object)) {}
    vokClonePtr(const vokClonePtr& other) : object_(other.object_ ? other.object_->clone() : nullptr) {}
    vokClonePtr(vokClonePtr&& other) noexcept = default;
    vokClonePtr& operator=(vokClonePtr other) noexcept {
        object_ = std::move(other.object_);
        return *this;
    }
    ~vokClonePtr() = default;

    Type* get() const { return object_.get(); }
    void reset() { object_.reset(); }

private:
    std::unique_ptr<Type> object_;
};
