#include <Z/ZThread.h>

#include <atomic>
#include <cstdio>
#include <functional>

struct Worker : ZSleeperThread_5_1 {
    Worker() : ZSleeperThread_5_1(1, 1) {}  // detached, and deletes itself
    void doWork() override { job(); }
    std::function<void()> job;
};

struct Workers : ZThreadPool_5_1 {
    Workers() : ZThreadPool_5_1(4, 2) {}  // 4 at a time, 2 of them kept for more work
    ZThread_5_1* createThread() override {
        auto* const worker = new Worker;
        start(*worker);  // waits while 4 are running
        return worker;
    }
    void submit(std::function<void()> job) {
        ZThread_5_1* thread = nullptr;
        auto* const worker = static_cast<Worker*>(getAvailableIdleThread(thread));
        worker->job = std::move(job);
        worker->wakeUp();  // from here on the worker is its own
    }
};

int main() {
    Workers workers;
    std::atomic<int> sum{0};
    for (int i = 1; i <= 100; ++i) workers.submit([&sum, i] { sum += i; });
    workers.waitForExit();
    std::printf("the sum is %d\n", sum.load());
}
