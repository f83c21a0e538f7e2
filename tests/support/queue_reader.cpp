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

QueueReader::QueueReader() : queue_(msgget(KEY, IPC_CREAT | 0666)), thread_(&QueueReader::readAll, this) {}

QueueReader::~QueueReader() {
    if (!sendOwn(END)) {
        ADD_FAILURE() << "the message queue is gone: " << strerror(errno);
    }
    thread_.join();
}

bool QueueReader::sendOwn(long type) const {
    const long message[2] = {type, 0};
    return msgsnd(queue_, message, 0, 0) == 0;
}

void QueueReader::readAll() {
    Buffer buffer;
    while (!ended_) {
        const ssize_t length = msgrcv(queue_, &buffer, buffer.text.size(), 0, 0);
        const std::lock_guard lock(mutex_);
        if (length < 0 || buffer.type == END) {
            ended_ = length >= 0 || errno != EINTR;
        } else if (buffer.type == MARK) {
            ++marksSeen_;
        } else {
            messages_.push_back({buffer.type, std::string(buffer.text.data(), static_cast<size_t>(length))});
        }
        changed_.notify_all();
    }
}

std::unique_lock<std::mutex> QueueReader::caughtUp() {
    const size_t mark = ++marksSent_;
    const bool sent = sendOwn(MARK);
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return !sent || ended_ || marksSeen_ >= mark; });
    return lock;
}

std::vector<QueueMessage> QueueReader::messages() {
    const auto lock = caughtUp();
    return messages_;
}

void QueueReader::clear() {
    const auto lock = caughtUp();
    messages_.clear();
}
