// Several Qt Test classes in one program: each source names its class once with NETPLAY_TEST.
#pragma once

#include <QObject>

#include <functional>
#include <memory>
#include <vector>

struct TestRegistry {
    struct Entry {
        const char* name;
        std::function<std::unique_ptr<QObject>()> make;
    };
    static std::vector<Entry>& entries() {
        static std::vector<Entry> all;
        return all;
    }
    TestRegistry(const char* name, std::function<std::unique_ptr<QObject>()> make) {
        entries().push_back({name, std::move(make)});
    }
};

#define NETPLAY_TEST(Class)                                                                                            \
    static const TestRegistry registry##Class(#Class,                                                                  \
                                              [] { return std::unique_ptr<QObject>(std::make_unique<Class>()); })
