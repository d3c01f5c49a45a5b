#include <Z/ZFileLock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

// The number in the file "stock", as this process knows it. The lock "stock" (the file ._zplstock)
// keeps processes apart and tells who has an old copy.
struct Stock : ZObserverInterface_5_1 {
    int pieces = 0;

    void load() {
        if (std::FILE* const file = std::fopen("stock", "r")) {
            if (std::fscanf(file, "%d", &pieces) != 1) pieces = 0;
            std::fclose(file);
        }
    }
    void store() const {
        std::FILE* const file = std::fopen("stock", "w");
        std::fprintf(file, "%d\n", pieces);
        std::fclose(file);
    }
    // Another process has changed the data since this one last held the lock.
    void observableChanged(ZObservableInterface_5_1*, ZObservedParm_5_1 const&) override {
        load();
        std::printf("changed by another process: %d pieces\n", pieces);
    }
};

int main(int argc, char** argv) {
    ZUnixProcessReadWriteFileLock_5_1 lock("stock");
    Stock stock;
    {
        ZStackReadWriteLock_5_1 hold(lock, 1);
        hold.writeLock();
        stock.load();  // at the first hold there is nothing to be told of
        stock.pieces += 5;
        stock.store();
        std::printf("%d pieces\n", stock.pieces);
        std::fflush(stdout);
    }
    if (argc > 2 && std::strcmp(argv[2], "other") == 0) return 0;

    lock.addObserver(&stock);
    pid_t const other = fork();
    if (other == 0) {
        // The locks of the parent are of no use here: the other process starts afresh.
        execl(argv[0], argv[0], argv[1], "other", static_cast<char*>(nullptr));
        _exit(127);
    }
    waitpid(other, nullptr, 0);
    ZStackReadWriteLock_5_1 hold(lock, 0);
    hold.readLock();
    std::printf("here too: %d pieces\n", stock.pieces);
    lock.deleteObserver(&stock);
}
