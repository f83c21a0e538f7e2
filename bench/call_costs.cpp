// What the calls cost that a pass makes most often, and how many blocks of memory each takes.

#include <benchmark/benchmark.h>
#include <json-c/json.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ct_sync_google.h"
#include "json_loader.h"
#include "orin_hashtable3.h"
#include "orin_stringbuffer.h"
#include "orin_utf8.h"
#include "orinlog.h"

extern "C" void* __libc_malloc(size_t size);
extern "C" void* __libc_calloc(size_t count, size_t size);
extern "C" void* __libc_realloc(void* block, size_t size);

namespace {

size_t allocations = 0;

}  // namespace

// In place of the C library's, to count.
extern "C" void* malloc(size_t size) {
    ++allocations;
    return __libc_malloc(size);
}

extern "C" void* calloc(size_t count, size_t size) {
    ++allocations;
    return __libc_calloc(count, size);
}

extern "C" void* realloc(void* block, size_t size) {
    ++allocations;
    return __libc_realloc(block, size);
}

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_CT_SYNC, "call_costs.c"};
constexpr int DETAILS = 20;
constexpr uint32_t SLOTS = 100;

// The calls to malloc(), calloc() and realloc() per iteration, as a column of the table.
class CountedAllocations {
  public:
    explicit CountedAllocations(benchmark::State& state) : state_(state), before_(allocations) {}
    ~CountedAllocations() {
        state_.counters["allocations"] =
            benchmark::Counter(static_cast<double>(allocations - before_), benchmark::Counter::kAvgIterations);
    }
    CountedAllocations(const CountedAllocations&) = delete;
    CountedAllocations& operator=(const CountedAllocations&) = delete;

  private:
    benchmark::State& state_;
    size_t before_;
};

const void* asKey(uintptr_t key) {
    return reinterpret_cast<const void*>(key);
}

// The details of a contact as a pass looks them up.
struct StoredDetails {
    StoredDetails() {
        if (orin_createHashTable(&table, SLOTS, sizeof(uint32_t), sizeof(uint32_t), OrinHashTableCopy::no) != 0) {
            abort();
        }
        for (int key = 0; key < DETAILS; ++key) {
            records[key] = {1, key, "+49 30 1234567"};
            if (orin_putIntoHashTable(&table, asKey(static_cast<uintptr_t>(key)), &records[key]) != 0) {
                abort();
            }
        }
    }
    ~StoredDetails() {
        orin_destroyHashTable(&table);
    }
    StoredDetails(const StoredDetails&) = delete;
    StoredDetails& operator=(const StoredDetails&) = delete;

    OrinHashTable table{};
    ContactDetail records[DETAILS]{};
};

void unchangedDetail(benchmark::State& state) {
    const StoredDetails stored;
    json_object* entry = json_tokener_parse(R"({"canonicalForm":"+49 30 1234567","type":"work"})");
    DbContext context{};
    SyncContext sync{};
    sync.dbContext = &context;
    const CountedAllocations counted(state);
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(orin_google_syncOneContactDetail(&sync, 1, entry, "canonicalForm", "value",
                                                                  &stored.table, 12, nullptr, nullptr));
    }
    json_object_put(entry);
}
BENCHMARK(unchangedDetail);

void absentDetail(benchmark::State& state) {
    const StoredDetails stored;
    DbContext context{};
    SyncContext sync{};
    sync.dbContext = &context;
    const CountedAllocations counted(state);
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(
            orin_google_syncOneContactDetail(&sync, 1, nullptr, "city", nullptr, &stored.table, 43, nullptr, nullptr));
    }
}
BENCHMARK(absentDetail);

void hashTableOfAContact(benchmark::State& state) {
    const CountedAllocations counted(state);
    for ([[maybe_unused]] auto _ : state) {
        const StoredDetails stored;
        benchmark::DoNotOptimize(&stored);
    }
}
BENCHMARK(hashTableOfAContact);

void hashTableLookup(benchmark::State& state) {
    const StoredDetails stored;
    void* found = nullptr;
    const CountedAllocations counted(state);
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(orin_getFromHashTable(&stored.table, asKey(12), &found));
    }
}
BENCHMARK(hashTableLookup);

void stringBufferOfThousandBytes(benchmark::State& state) {
    const CountedAllocations counted(state);
    for ([[maybe_unused]] auto _ : state) {
        orinStringBuffer buffer;
        int failed = orin_initStringBufferPreAlloc(&buffer, 16);
        for (int i = 0; i < 100; ++i) {
            failed |= orin_appendToStringBuffer(&buffer, "0123456789", 10);
        }
        benchmark::DoNotOptimize(failed);
        orin_freeStringBufferData(&buffer);
    }
}
BENCHMARK(stringBufferOfThousandBytes);

void utf8FixTail(benchmark::State& state) {
    std::string text;
    while (text.size() < 270) {
        text += "Straße Nr. 7, Übersee ";
    }
    const CountedAllocations counted(state);
    for ([[maybe_unused]] auto _ : state) {
        orin_utf8_fix_tail(text.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(utf8FixTail);

void levelCheck(benchmark::State& state) {
    const CountedAllocations counted(state);
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(ORINLOG_ENABLED(ORINLOG_EDEBUG));
    }
}
BENCHMARK(levelCheck);

void disabledLogLine(benchmark::State& state) {
    int number = 0;
    const CountedAllocations counted(state);
    for ([[maybe_unused]] auto _ : state) {
        ORINLOG_FN(ORINLOG_EDEBUG, "number=%d", ++number);
        benchmark::ClobberMemory();
    }
    if (number != 0) {
        state.SkipWithError("the line is not disabled");
    }
}
BENCHMARK(disabledLogLine);

}  // namespace
