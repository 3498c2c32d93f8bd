#include "platform/pci/SysFsTreeElement.h"

#include <algorithm>

namespace {

template <typename List>
auto findByName(List& children, const std::string& name) {
    return std::find_if(children.begin(), children.end(),
                        [&name](const auto& child) { return child->getElement().getName() == name; });
}

}  // namespace

SysFsTreeElement::SysFsTreeElement(std::unique_ptr<SysFsElement> element) : _element(std::move(element)) {}

SysFsTreeElement* SysFsTreeElement::findChild(const std::string& name) const {
    const auto found = findByName(_children, name);
    return found == _children.end() ? nullptr : found->get();
}

std::size_t SysFsTreeElement::countElements() const {
    std::size_t count = 1;
    for (const auto& child : _children) count += child->countElements();
    return count;
}

SysFsTreeElement& SysFsTreeElement::addChildtoBack(std::unique_ptr<SysFsTreeElement> child) {
    _children.push_back(std::move(child));
    return *_children.back();
}

void SysFsTreeElement::replaceChild(std::unique_ptr<SysFsTreeElement> child) {
    const auto found = findByName(_children, child->getElement().getName());
    if (found == _children.end())
        addChildtoBack(std::move(child));
    else
        *found = std::move(child);
}

void SysFsTreeElement::removeChild(const std::string& name) {
    const auto found = findByName(_children, name);
    if (found != _children.end()) _children.erase(found);
}
