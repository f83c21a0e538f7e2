// Keeps the PBX's message queue from filling while somebody writes to it.
//
// A sender waits for ever when the queue is full and nobody reads it, as on a PBX whose other processes are not
// running. As long as a keeper lives, a thread looks at the queue and takes the oldest messages away while more than
// half of it is in use, so that a process that does read still gets its messages.
#pragma once

#include <atomic>
#include <thread>

enum class QueueMessages : uint8_t {
    makeRoom,  // take no more than is needed
    showAll,   // take every message and print it to the standard output as it arrives
};

class QueueKeeper {
  public:
    // Opens the queue, creating it if it is missing, and begins. Without a queue there is nothing to do.
    explicit QueueKeeper(QueueMessages mode);
    // Ends the thread; with showAll what is still in the queue is printed first.
    ~QueueKeeper();
    QueueKeeper(const QueueKeeper&) = delete;
    QueueKeeper& operator=(const QueueKeeper&) = delete;

  private:
    void keep();
    [[nodiscard]] bool isToBeRead() const;
    void readMessages() const;

    QueueMessages mode_;
    int queue_;
    std::atomic<bool> ended_{false};
    std::thread thread_;
};
