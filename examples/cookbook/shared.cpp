#include <Z/ZStanzaFileProperties.h>

#include <cstdio>

struct Watcher : ZObserverInterface_5_1 {
    void observableChanged(ZObservableInterface_5_1*, ZObservedParm_5_1 const& change) override {
        auto const& what = static_cast<ZPropertyChanged_5_1 const&>(change);
        std::printf("%s of [%s] was %s\n", what.getKey(), what.getStanza(),
                    what.getChangeType() == ZPropertyChanged_5_1::DELETED ? "deleted" : "set");
    }
};

// Any part of the program that asks for the file by this name has the same instance. It belongs to
// the factory and is loaded anew when the file has changed.
static ZProperties_5_1& settings(char const* file) {
    return *ZProperties_5_1::getPropertiesFor(file, ZStanzaFileProperties_5_1::getFactory(), 0);
}

int main(int, char** argv) {
    Watcher watcher;
    settings(argv[1]).addObserver(&watcher);
    settings(argv[1]).setIntegerValue("server", "workers", 8);
    settings(argv[1]).deleteKey("session", "banner");
    std::printf("%u workers\n", settings(argv[1]).getIntegerValue("server", "workers", 1, 0));
    settings(argv[1]).deleteObserver(&watcher);
}
