// Words: the text that `zstanza apply` reads, taken apart into commands of words.
// Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
#include "Words.h"

#include <cstring>

#include "Failure.h"

namespace zstanza {

namespace {

class Splitter {
public:
    Splitter(std::string const& text, std::string const& source) : text_(text), source_(source) {}

    std::vector<Command> split() {
        while (at_ < text_.size()) {
            char const c = next();
            if (c == '\n') {
                endWord();
                endCommand();
            } else if (c == ' ' || c == '\t' || c == '\r') {
                endWord();
            } else if (c == '#' && !inWord_) {
                while (at_ < text_.size() && text_[at_] != '\n') ++at_;
            } else {
                beginWord();
                take(c);
            }
        }
        endWord();
        endCommand();
        return std::move(commands_);
    }

private:
    char next() {
        char const c = text_[at_++];
        if (c == '\n') ++line_;
        return c;
    }

    void take(char c) {
        if (c == '\'' || c == '"') {
            takeQuoted(c);
        } else if (c == '\\') {
            if (at_ == text_.size()) refuse("nothing stands behind the backslash");
            char const escaped = next();
            if (escaped != '\n') word_ += escaped;  // else the line goes on
        } else {
            word_ += c;
        }
    }

    void takeQuoted(char quote) {
        int const opened = line_;
        for (;;) {
            if (at_ == text_.size()) {
                line_ = opened;
                refuse("the quote is not closed");
            }
            char const c = next();
            if (c == quote) return;
            bool const escapes = quote == '"' && c == '\\' && at_ < text_.size() &&
                                 std::strchr("\"\\$`", text_[at_]) != nullptr && text_[at_] != '\0';
            word_ += escapes ? next() : c;
        }
    }

    void beginWord() {
        if (command_.words.empty() && !inWord_) command_.line = line_;
        inWord_ = true;
    }
    void endWord() {
        if (inWord_) command_.words.push_back(std::move(word_));
        word_.clear();
        inWord_ = false;
    }
    void endCommand() {
        if (!command_.words.empty()) commands_.push_back(std::move(command_));
        command_ = {};
    }

    [[noreturn]] void refuse(char const* cause) const {
        throw Failure(usage, source_ + ":" + std::to_string(line_), cause);
    }

    std::string const& text_;
    std::string const& source_;
    std::size_t at_ = 0;
    int line_ = 1;
    bool inWord_ = false;
    std::string word_;
    Command command_{};
    std::vector<Command> commands_;
};

}  // namespace

std::vector<Command> splitCommands(std::string const& text, std::string const& source) {
    return Splitter(text, source).split();
}

std::string quoted(std::string const& word) {
    static constexpr char const* plain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789%+,-./:=@_";
    if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) return word;
    std::string out = "'";
    for (char c : word) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

}  // namespace zstanza
