// Sets (or removes: nullptr) an environment variable for the life of a C++ one.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

class EnvVar {
  public:
    EnvVar(const char* name, const char* value) : name_(name) {
        if (const char* before = getenv(name); before != nullptr) {
            before_ = before;
        }
        set(value);
    }
    ~EnvVar() {
        set(before_ ? before_->c_str() : nullptr);
    }
    EnvVar(const EnvVar&) = delete;
    EnvVar& operator=(const EnvVar&) = delete;

  private:
    void set(const char* value) {
        value != nullptr ? setenv(name_.c_str(), value, 1) : unsetenv(name_.c_str());
    }

    std::string name_;
    std::optional<std::string> before_;
};
