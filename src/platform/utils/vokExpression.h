// A compiled POSIX extended regular expression, freed with its owner.
#pragma once

#include <regex.h>
#include <string>

class vokExpression {
public:
    explicit vokExpression(const std::string& pattern)
        : result_(::regcomp(&expression_, pattern.c_str(), REG_EXTENDED)) {}
    ~vokExpression() {
        if (result_ == 0) ::regfree(&expression_);
    }
    vokExpression(const vokExpression&) = delete;
    vokExpression& operator=(const vokExpression&) = delete;

    // The result of regcomp(3). Unless it is 0, match() must not be called.
    int compileResult() const { return result_; }
    // Returns the result of regexec(3); `span` receives the whole match.
    int match(const std::string& text, regmatch_t& span) const {
        return ::regexec(&expression_, text.c_str(), 1, &span, 0);
    }
    std::string describe(int result) const { return describe(result, expression_); }
    static std::string describe(int result, const regex_t& expression) {
        char text[256] = {};
        ::regerror(result, &expression, text, sizeof(text));
        return text;
    }

private:
    regex_t expression_{};
    int result_;
};
