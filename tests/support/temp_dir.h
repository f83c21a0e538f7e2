// A folder of a test's own; it goes with the variable, unless the test has failed.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>

class TempDir {
  public:
    TempDir() {
        if (mkdtemp(path_.data()) == nullptr) {
            ADD_FAILURE() << "cannot make a folder " << path_;
        }
    }
    ~TempDir() {
        if (testing::Test::HasFailure()) {
            std::cerr << "kept: " << path_ << '\n';
        } else {
            std::error_code ignored;
            std::filesystem::remove_all(path_, ignored);
        }
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    [[nodiscard]] const std::string& path() const {
        return path_;
    }
    // The path of a file in it.
    [[nodiscard]] std::string file(const std::string& name) const {
        return path_ + '/' + name;
    }

  private:
    std::string path_ = "/tmp/test_XXXXXX";
};
