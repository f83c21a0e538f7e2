// Reads the PBX's message queue as its server does, so that no writer waits for room. What others left is read, too.
#pragma once

#include <atomic>
#include <condition_variable>
#include <iosfwd>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct QueueMessage {
    long type;
    std::string text;  // with its NUL, where the sender sent one
    bool operator==(const QueueMessage&) const = default;
};
std::ostream& operator<<(std::ostream& out, const QueueMessage& message);

class QueueReader {
  public:
    static constexpr int KEY = 16961;

    // Opens the queue, making it if it is missing.
    QueueReader();
    ~QueueReader();
    QueueReader(const QueueReader&) = delete;
    QueueReader& operator=(const QueueReader&) = delete;

    // All that was sent before this call, in order.
    [[nodiscard]] std::vector<QueueMessage> messages();
    // Forgets what has come so far.
    void clear();

  private:
    void readAll();
    [[nodiscard]] bool sendOwn(long type) const;
    // Returns when all that was sent before has been read, and keeps the reader from going on.
    [[nodiscard]] std::unique_lock<std::mutex> caughtUp();

    int queue_ = -1;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<QueueMessage> messages_;
    std::atomic<size_t> marksSent_ = 0;
    size_t marksSeen_ = 0;
    std::atomic<bool> ended_ = false;
    std::thread thread_;
};
