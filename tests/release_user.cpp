#include "release_user.h"

#include <Z/Z.h>

#include <typeinfo>

namespace {

std::string heard;

struct Recorder : ZDefaultMessageService_5_1 {
    using ZDefaultMessageService_5_1::outputException;
    void outputException(ZZException_5_1 const* exception, char*) const override {
        heard += std::string(exception->name()) + ';';
    }
};

void raise() {
    throw ZInvalidParameterException_5_1();
}

bool catches(std::function<void()> const& run) try {
    run();
    return false;
} catch (ZException_5_1&) {
    return true;
} catch (...) {
    return false;
}

std::string work(std::string const& file, int rounds) {
    static Recorder const* const recorder = new Recorder;
    ZMessageService_5_1::setMessageService(recorder);
    ZLCString_5_1 value;
    for (int i = 0; i < rounds; ++i) {
        ZStanzaFileProperties_5_1 properties(1);
        properties.load(file.c_str());
        unsigned const next = properties.getIntegerValue("s", "n", 1, 0) + 1;
        properties.setValue("s", "n", std::to_string(next).c_str());
        properties.store(file.c_str());
        properties.getValue("s", "n", value, 1, nullptr);
    }
    try {
        ZStanzaFileProperties_5_1(1).load((file + ".missing").c_str());
    } catch (ZException_5_1& e) {
        e.print();
    }
    return value.getChars();
}

std::string reports() {
    return heard;
}

}  // namespace

ReleaseUser const releaseUser_5_1 = {raise, catches, work, reports, typeid(ZException_5_1).name()};
