#include "companions/generics/ZORBasVectorGeneric.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

int g_live = 0;

const ZORBasElementTraitsGeneric kStrings{
    sizeof(std::string),
    [](void* to, const void* from) {
        new (to) std::string(*static_cast<const std::string*>(from));
        ++g_live;
    },
    [](void* to, void* from) {
        new (to) std::string(std::move(*static_cast<std::string*>(from)));
        ++g_live;
    },
    [](void* e) {
        static_cast<std::string*>(e)->~basic_string();
        --g_live;
    }};

std::vector<std::string> Contents(const ZORBasVectorGeneric& v) {
    std::vector<std::string> out;
    for (size_t i = 0; i < v.Size(); ++i) out.push_back(*static_cast<std::string*>(v.At(i)));
    return out;
}

}  // namespace

TEST(VectorGeneric, RandomOperationsMatchStdVector) {
    std::mt19937 rng(7);
    {
        ZORBasVectorGeneric v(kStrings);
        std::vector<std::string> model;
        for (int step = 0; step < 5000; ++step) {
            // Long enough texts that a dangling copy would read freed heap memory.
            std::string s = "element number " + std::to_string(step) + " with a long tail";
            switch (rng() % 8) {
                case 0:
                case 1:
                case 2:
                    v.PushBack(&s);
                    model.push_back(s);
                    break;
                case 3:  // an element of the vector itself, which may move while it is copied
                    if (!model.empty()) {
                        size_t i = rng() % model.size();
                        v.PushBack(v.At(i));
                        model.push_back(std::string(model[i]));
                    }
                    break;
                case 4:
                    if (!model.empty()) {
                        size_t i = rng() % model.size();
                        void* next = v.Erase(v.At(i));
                        model.erase(model.begin() + static_cast<long>(i));
                        ASSERT_EQ(next, v.At(i));
                    }
                    break;
                case 5: {
                    size_t n = rng() % (model.size() + 20);
                    if (!model.empty() && rng() % 2) {
                        std::string fill = model[rng() % model.size()];
                        v.Resize(n,
                                 v.At(static_cast<size_t>(
                                     std::find(model.begin(), model.end(), fill) - model.begin())));
                        model.resize(n, fill);
                    } else {
                        v.Resize(n, &s);
                        model.resize(n, s);
                    }
                    break;
                }
                case 6:
                    v.Reserve(model.size() + rng() % 50);
                    break;
                default:
                    if (rng() % 20 == 0) {
                        v.Clear();
                        model.clear();
                    }
            }
            ASSERT_EQ(v.Size(), model.size());
            ASSERT_GE(v.Capacity(), v.Size());
            ASSERT_EQ(g_live, static_cast<int>(model.size()));
            if (step % 100 == 0) {
                ASSERT_EQ(Contents(v), model);
            }
        }
        ASSERT_EQ(Contents(v), model);

        ZORBasVectorGeneric copy(kStrings);
        copy.Init(v);
        EXPECT_EQ(Contents(copy), model);
        std::string fill = "fill";
        ZORBasVectorGeneric other(kStrings);
        other.Init(3, &fill);
        other.swap(copy);
        EXPECT_EQ(Contents(other), model);
        EXPECT_EQ(Contents(copy), std::vector<std::string>(3, "fill"));
        copy.Init(copy);  // from itself: unchanged
        EXPECT_EQ(copy.Size(), 3u);
        EXPECT_EQ(v.End(), v.At(v.Size()));
    }
    EXPECT_EQ(g_live, 0);
}
