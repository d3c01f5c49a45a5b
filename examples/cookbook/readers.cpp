#include <Z/ZReadWriteLock.h>

#include <cstdio>
#include <thread>
#include <vector>

// A price list that many threads read and one changes.
struct Prices {
    ZReadWriteLock_5_1 lock;
    int net = 100;
    int gross = 119;

    bool agree() {
        ZStackReadWriteLock_5_1 hold(lock, 0);  // gives the lock back at the end of the scope
        hold.readLock();
        return gross == net + net * 19 / 100;
    }
    void set(int price) {
        ZStackReadWriteLock_5_1 hold(lock, 0);
        hold.writeLock();
        net = price;
        gross = price + price * 19 / 100;
    }
};

int main() {
    Prices prices;
    std::vector<std::thread> readers;
    std::vector<int> wrong(4, 0);
    for (int& mine : wrong) {
        readers.emplace_back([&] {
            for (int i = 0; i < 1000; ++i) mine += prices.agree() ? 0 : 1;
        });
    }
    for (int price = 1; price <= 200; ++price) prices.set(price);
    for (std::thread& reader : readers) reader.join();
    std::printf("wrong: %d %d %d %d, net %d\n", wrong[0], wrong[1], wrong[2], wrong[3], prices.net);
}
