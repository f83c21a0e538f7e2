// Whole files as texts.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

inline bool fileExists(const std::string& path) {
    return std::filesystem::exists(std::filesystem::symlink_status(path));
}

// The content; a missing file is a failure and reads as empty.
inline std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        ADD_FAILURE() << "cannot read " << path;
        return {};
    }
    return {std::istreambuf_iterator<char>(file), {}};
}

// Replaces the content; folders above it are made.
inline void writeFile(const std::string& path, std::string_view content) {
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content << std::flush;
    if (!file) {
        ADD_FAILURE() << "cannot write " << path;
    }
}
