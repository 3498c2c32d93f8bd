// One node of the model of /sys. It owns its element and the nodes below it.
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
    // Null if no child has the name.
    SysFsTreeElement* findChild(const std::string& name) const;
    // The number of nodes: this one and all below it.
    std::size_t countElements() const;

    SysFsTreeElement& addChildtoBack(std::unique_ptr<SysFsTreeElement> child);
    // Replaces the child of the same name by `child`, or appends it.
    void replaceChild(std::unique_ptr<SysFsTreeElement> child);
    void removeChild(const std::string& name);

private:
    std::unique_ptr<SysFsElement> _element;
    Children _children;
};
