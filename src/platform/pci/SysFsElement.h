// The elements of the model of /sys: attributes with their text, links with their target, directories. An
// element holds the state at its creation; only SysFsAttrib::readData() accesses the host again.
#pragma once

#include <sys/stat.h>
#include <string>

class SysFsElement {
public:
    // `path`: the absolute path on the host, whose last part is `name`; `status` as lstat(2) returned it.
    SysFsElement(const std::string& name, const std::string& path, const struct stat& status);
    SysFsElement(const SysFsElement&) = delete;
    SysFsElement& operator=(const SysFsElement&) = delete;

    virtual ~SysFsElement();
    virtual std::string getName() const;
    virtual std::string getPath() const;
    // The text between path and value where both are printed; empty for an element without a value.
    virtual std::string getValueSeparator() const;
    virtual std::string getValue() const;

    const struct stat& getStatus() const { return _status; }

protected:
    std::string _name;
    std::string _path;
    struct stat _status;
};

class SysFsDirectory : public SysFsElement {
public:
    using SysFsElement::SysFsElement;
};

// Its value is one line of printable ASCII, empty for a file that can't be read.
class SysFsAttrib : public SysFsElement {
public:
    SysFsAttrib(const std::string& name, const std::string& path, const struct stat& status);
    std::string getValueSeparator() const override;  // " = "
    std::string getValue() const override;

    // Reads the first 4096 bytes of the file again, without waiting. Files of the kernel's debugging tree are
    // not read: that can take long and change their content.
    void readData();

private:
    static std::string _makePretty(const std::string& text);

    std::string _value;
};

// Its value is the target as the link holds it, at most 4095 characters.
class SysFsLink : public SysFsElement {
public:
    SysFsLink(const std::string& name, const std::string& path, const struct stat& status);
    std::string getValueSeparator() const override;  // " -> "
    std::string getValue() const override;

private:
    std::string _target;
};
