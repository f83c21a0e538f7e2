// Guards: each owns one thing that must be given back and releases it at the end of its block.
//
// They are what a function holds while it may still return early. What is kept longer, or crosses the boundary of a
// library, is released by the functions made for it (orin_fclose, curl_easy_cleanup).
#pragma once

#include <unistd.h>

#include <cstdio>
#include <memory>
#include <utility>

struct curl_slist;

// A stdio stream. Whoever has written must flush and check before the guard closes.
struct FileRelease {
    void operator()(FILE* file) const {
        fclose(file);
    }
};
using File = std::unique_ptr<FILE, FileRelease>;

// A file descriptor; -1 is none.
class Descriptor {
  public:
    explicit Descriptor(int descriptor = -1) : descriptor_(descriptor) {}
    ~Descriptor() {
        reset();
    }
    Descriptor(Descriptor&& other) noexcept : descriptor_(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        reset(other.release());
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] int get() const {
        return descriptor_;
    }
    explicit operator bool() const {
        return descriptor_ >= 0;
    }
    // Gives the descriptor away: it is the caller's to close.
    [[nodiscard]] int release() {
        return std::exchange(descriptor_, -1);
    }
    // Closes the descriptor and takes another one.
    void reset(int descriptor = -1) {
        const int old = std::exchange(descriptor_, descriptor);
        if (old >= 0) {
            close(old);
        }
    }

  private:
    int descriptor_;
};

// A libcurl transfer (a CURL*) and a libcurl list of header lines. The bodies are in orin_wget.cpp.
struct CurlEasyRelease {
    void operator()(void* curl) const;
};
using CurlEasy = std::unique_ptr<void, CurlEasyRelease>;

struct HeaderListRelease {
    void operator()(curl_slist* list) const;
};
using HeaderList = std::unique_ptr<curl_slist, HeaderListRelease>;
