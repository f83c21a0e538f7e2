#include "queue_reader.h"

#include <gtest/gtest.h>
#include <sys/msg.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ostream>

namespace {

// Our own messages, which no sender of the PBX uses: a place in the order, and the end of reading.
constexpr long MARK = INT_MAX - 1;
constexpr long END = INT_MAX;

struct Buffer {
    long type;
    std::array<char, 8192> text;
};

}  // namespace

std::ostream& operator<<(std::ostream& out, const QueueMessage& message) {
    return out << message.type << " \"" << testing::PrintToString(message.text) << '"';
}

QueueReader::QueueReader() : queue_(msgget(KEY, IPC_CREAT | 0666)) {
    if (queue_ < 0) {
        ADD_FAILURE() << "cannot open the message queue: " << strerror(errno);
        ended_ = true;
        return;
    }
    thread_ = std::thread(&QueueReader::readAll, this);
}

QueueReader::~QueueReader() {
    if (thread_.joinable()) {
        if (!sendOwn(END)) {
            ADD_FAILURE() << "the message queue is gone: " << strerror(errno);
        }
        thread_.join();
    }
}

bool QueueReader::sendOwn(long type) const {
    const long message[2] = {type, 0};
    return msgsnd(queue_, message, 0, 0) == 0;
}

void QueueReader::readAll() {
    Buffer buffer;
    for (;;) {
        const ssize_t length = msgrcv(queue_, &buffer, buffer.text.size(), 0, 0);
        if (length < 0 && errno == EINTR) {
            continue;
        }
        const std::lock_guard lock(mutex_);
        if (length < 0 || buffer.type == END) {
            ended_ = true;
            changed_.notify_all();
            return;
        }
        if (buffer.type == MARK) {
            ++marksSeen_;
        } else {
            messages_.push_back({buffer.type, std::string(buffer.text.data(), static_cast<size_t>(length))});
        }
        changed_.notify_all();
    }
}

void QueueReader::catchUp() {
    std::unique_lock lock(mutex_);
    const size_t mark = marksSeen_ + 1;
    lock.unlock();
    const bool sent = sendOwn(MARK);
    lock.lock();
    changed_.wait(lock, [&] { return !sent || ended_ || marksSeen_ >= mark; });
}

std::vector<QueueMessage> QueueReader::messages() {
    catchUp();
    const std::lock_guard lock(mutex_);
    return messages_;
}

bool QueueReader::waitFor(size_t count, std::chrono::milliseconds deadline) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, deadline, [&] { return messages_.size() >= count; });
}

void QueueReader::clear() {
    catchUp();
    const std::lock_guard lock(mutex_);
    messages_.clear();
}
