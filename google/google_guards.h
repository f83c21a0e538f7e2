// What the Google client holds for the length of a function: a json-c object, and a text of limited size.
#pragma once

#include <json-c/json.h>

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <memory>

struct JsonRelease {
    void operator()(json_object* object) const noexcept {
        json_object_put(object);
    }
};
// The root of an answer. What is read from it is borrowed and never released.
using JsonObject = std::unique_ptr<json_object, JsonRelease>;

// Formatted text in an area of SIZE bytes on the stack; what does not fit is cut.
template <size_t SIZE>
class CutText {
  public:
    [[gnu::format(printf, 2, 3)]] explicit CutText(const char* format, ...) {
        va_list arguments;
        va_start(arguments, format);
        if (vsnprintf(text_, SIZE, format, arguments) < 0) {
            text_[0] = '\0';
        }
        va_end(arguments);
    }
    [[nodiscard]] const char* text() const {
        return text_;
    }

  private:
    char text_[SIZE];
};
