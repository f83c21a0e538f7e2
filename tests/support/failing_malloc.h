// Makes one allocation of the tested code fail. For programs that hold failing_malloc.cpp and are linked with
//     -Wl,--wrap=malloc,--wrap=calloc,--wrap=realloc,--wrap=reallocarray,--wrap=strdup
// which leaves the allocations of shared libraries, operator new among them, alone.
#pragma once

// While one lives, the allocation after `allowed` others fails, and only that.
class FailingMalloc {
  public:
    explicit FailingMalloc(int allowed) {
        left_ = allowed + 1;
    }
    ~FailingMalloc() {
        left_ = UNARMED;
    }
    FailingMalloc(const FailingMalloc&) = delete;
    FailingMalloc& operator=(const FailingMalloc&) = delete;

    [[nodiscard]] static bool hasFailed() {
        return left_ == 0;
    }
    // Asked by each allocation.
    [[nodiscard]] static bool isDue() {
        return left_ > 0 && --left_ == 0;
    }

  private:
    static constexpr int UNARMED = -1;
    inline static int left_ = UNARMED;
};

// Runs the scenario with its first allocation failing, then its second, and so on until it needs no more. Returns how
// many it needs.
template <typename Scenario>
int failEachAllocation(Scenario scenario) {
    for (int allowed = 0;; allowed++) {
        const FailingMalloc failing(allowed);
        scenario();
        if (!FailingMalloc::hasFailed()) {
            return allowed;
        }
    }
}
