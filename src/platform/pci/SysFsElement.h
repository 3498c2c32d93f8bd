// The nodes of the model of /sys: attributes with their text, links with their target, directories. A node
// holds what was there when it was made and asks the host nothing afterwards.
#pragma once

#include <sys/stat.h>
#include <string>

class SysFsElement {
public:
    // `path`: the absolute path on the host, whose last part is `name`; `status` as lstat(2) gave it.
    SysFsElement(const std::string& name, const std::string& path, const struct stat& status);
    SysFsElement(const SysFsElement&) = delete;
    SysFsElement& operator=(const SysFsElement&) = delete;

    virtual ~SysFsElement();
    virtual std::string getName() const;
    virtual std::string getPath() const;
    // What stands between path and value where both are printed; empty for a node without a value.
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

    // Reads the file anew, its first 4096 bytes, without waiting. Files of the kernel's debugging tree are
    // left alone: reading them can take long and change what they show.
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
