#include "queue_keeper.h"

#include <pthread.h>
#include <sys/msg.h>

#include <array>
#include <csignal>
#include <cstdio>

#include "orin_tools.h"
#include "orindb_access.h"
#include "text_table.h"

namespace {

constexpr int EVERYBODY = 0666;
// A writer that finds the queue full waits this long at most.
constexpr uint32_t LOOK_EVERY_NANOSECONDS = 20000000;

// By the number that message 1101 begins with.
constexpr std::array CHANGES{"changed somehow", "created", "changed", "removed"};

struct MessageWords {
    long type;
    const char* words;
};
constexpr std::array MESSAGE_WORDS{
    MessageWords{ORINDB_MSG_CHANGED, "configuration changed"},
    MessageWords{ORINDB_MSG_ALL_CONTACTS, "all contacts changed"},
};

void printMessage(const DbMessage& message) {
    unsigned change = 0;
    unsigned contactId = 0;
    int group = 0;
    if (message.type == ORINDB_MSG_CONTACT_CHANGED &&
        // NOLINTNEXTLINE(cert-err34-c): three numbers of our own making
        sscanf(message.text, "%u;%u;%d", &change, &contactId, &group) == 3) {
        printf("%ld %s contact %u group %u\n", message.type, CHANGES[change < CHANGES.size() ? change : 0], contactId,
               static_cast<unsigned>(group));
        return;
    }
    for (const MessageWords& known : MESSAGE_WORDS) {
        if (known.type == message.type) {
            printf("%ld %s\n", message.type, known.words);
            return;
        }
    }
    printf("%ld \"%s\"\n", message.type, account_printable(message.text).c_str());
}

// Starts a thread that no signal is delivered to: they are the main thread's.
template <typename Run>
std::thread startWithoutSignals(Run run) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread thread(run);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread;
}

}  // namespace

QueueKeeper::QueueKeeper(QueueMessages mode) : mode_(mode), queue_(msgget(ORINDB_QUEUE_KEY, IPC_CREAT | EVERYBODY)) {
    thread_ = startWithoutSignals([this] { keep(); });
}

QueueKeeper::~QueueKeeper() {
    ended_ = true;
    thread_.join();
}

void QueueKeeper::keep() {
    for (bool last = false; !last;) {
        // Asked first, so that the last look is behind everything that was sent before the end.
        last = ended_;
        readMessages();
        if (!last) {
            orin_sleep(0, LOOK_EVERY_NANOSECONDS);
        }
    }
}

bool QueueKeeper::isToBeRead() const {
    msqid_ds state{};
    if (msgctl(queue_, IPC_STAT, &state) != 0) {
        return false;
    }
    return mode_ == QueueMessages::showAll ? state.msg_qnum > 0 : state.msg_cbytes > state.msg_qbytes / 2;
}

void QueueKeeper::readMessages() const {
    while (isToBeRead()) {
        DbMessage message{};
        // The last byte stays a NUL, whatever the sender put there.
        if (msgrcv(queue_, &message, sizeof(message.text) - 1, 0, IPC_NOWAIT | MSG_NOERROR) < 0) {
            return;
        }
        if (mode_ == QueueMessages::showAll) {
            printMessage(message);
        }
    }
    fflush(stdout);
}
