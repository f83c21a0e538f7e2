// The system's text for an error number, for a log line.
#pragma once

#include <cstdio>
#include <cstring>

// Holds the text while it lives.
class OrinErrorText {
  public:
    explicit OrinErrorText(int number) : text_(strerror_r(number, buffer_, sizeof(buffer_))) {
        if (text_ == nullptr) {
            snprintf(buffer_, sizeof(buffer_), "<unable to get error message (%d)>", number);
            text_ = buffer_;
        }
    }
    // The text may lie within.
    OrinErrorText(const OrinErrorText&) = delete;
    OrinErrorText& operator=(const OrinErrorText&) = delete;

    [[nodiscard]] const char* get() const {
        return text_;
    }

  private:
    char buffer_[80] = "";
    const char* text_;
};
