// One place in the model of /sys: its node, which it owns, and the places below it, which it owns as well.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/pci/SysFsElement.h"

class SysFsTreeElement {
public:
    using Children = std::vector<std::unique_ptr<SysFsTreeElement>>;

    // `element` is never null.
    explicit SysFsTreeElement(std::unique_ptr<SysFsElement> element);

    const SysFsElement& getElement() const { return *_element; }
    const Children& getChildren() const { return _children; }
    // Null when no child has the name.
    SysFsTreeElement* findChild(const std::string& name) const;
    // This place and all below it.
    std::size_t countElements() const;

    SysFsTreeElement& addChildtoBack(std::unique_ptr<SysFsTreeElement> child);
    // Puts `child` in the place of the one with its name, or at the back.
    void replaceChild(std::unique_ptr<SysFsTreeElement> child);
    void removeChild(const std::string& name);

private:
    std::unique_ptr<SysFsElement> _element;
    Children _children;
};
