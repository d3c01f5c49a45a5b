// Numbers: value objects that count how many of them live, and texts of what a list holds.
#ifndef Z_TESTS_NUMBERS_H
#define Z_TESTS_NUMBERS_H

#include <Z/ZList.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace ztest {

struct Number : ZObject_5_1 {
    inline static int clonesLeft = -1;  // clone() throws at 0; below 0 never
    inline static int live = 0;

    explicit Number(int n, unsigned long modulus) : n_(n), modulus_(modulus) { ++live; }
    Number(Number const& other) : Number(other.n_, other.modulus_) {}
    ~Number() override { --live; }

    unsigned long hash() const override { return static_cast<unsigned long>(n_) % modulus_; }
    int compare(ZObject_5_1 const& other) const override {
        return n_ - static_cast<Number const&>(other).n_;
    }
    ZObject_5_1* clone() const override {
        if (clonesLeft-- == 0) throw std::runtime_error("no clone");
        return new Number(*this);
    }

    int n_;
    unsigned long modulus_;
};

// The numbers from 0, each hashing as itself modulo `modulus`.
struct Numbers {
    explicit Numbers(int count, unsigned long modulus = 1000003) {
        for (int n = 0; n < count; ++n) all.push_back(std::make_unique<Number>(n, modulus));
    }
    Number* operator[](int n) const { return all[static_cast<unsigned int>(n)].get(); }

    std::vector<std::unique_ptr<Number>> all;
};

// "1 2 - 3", a null being shown as "-".
template <class Sequence>
std::string show(Sequence const& list) {
    std::string text;
    for (unsigned int i = 0; i < list.size(); ++i) {
        auto const* const number = static_cast<Number const*>(list.get(i));
        text += (i ? " " : "") + (number ? std::to_string(number->n_) : "-");
    }
    return text;
}

}  // namespace ztest

#endif
