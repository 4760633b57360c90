// Starts a group of threads that begin their work together, so that their
// calls overlap as much as the machine allows.
#pragma once

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

namespace conctest {

inline constexpr int kThreads = 4;

inline void runTogether(int threads, const std::function<void(int)> &work) {
    std::atomic<int> ready{0};
    std::vector<std::thread> group;
    group.reserve(static_cast<std::size_t>(threads));
    for (int t = 0; t < threads; ++t) {
        group.emplace_back([&, t] {
            ready.fetch_add(1);
            while (ready.load() < threads) std::this_thread::yield();
            work(t);
        });
    }
    for (std::thread &thread : group) thread.join();
}

}  // namespace conctest
