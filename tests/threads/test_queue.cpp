#include "wyrt/queue.h"

#include <chrono>
#include <string>
#include <thread>

#include <gtest/gtest.h>

using namespace std::chrono_literals;

TEST(Queue, HasRoomForSoManyAndKeepsTheirOrder) {
    Queue<std::string> queue(2);
    std::string a = "a", b = "b", c = "c";
    EXPECT_TRUE(queue.hasRoom());
    EXPECT_TRUE(queue.put(std::move(a)));
    EXPECT_TRUE(queue.put(std::move(b)));
    EXPECT_FALSE(queue.hasRoom());
    EXPECT_FALSE(queue.put(std::move(c)));
    EXPECT_EQ(c, "c"); // it stays with the caller
    EXPECT_EQ(queue.take(), "a");
    EXPECT_TRUE(queue.hasRoom());
    queue.close();
    EXPECT_FALSE(queue.put(std::move(c)));
    EXPECT_EQ(queue.take(), "b");
    EXPECT_FALSE(queue.take());
    EXPECT_TRUE(queue.waitClosed(0s));
}

TEST(Queue, WaitsNoLongerThanAsked) {
    Queue<int> queue(1);
    EXPECT_FALSE(queue.takeWithin(1ms));
    EXPECT_FALSE(queue.waitClosed(1ms));
    EXPECT_TRUE(queue.put(7));
    EXPECT_EQ(queue.takeWithin(1ms), 7);
}

TEST(Queue, EverythingArrivesOnceInOrderBetweenTwoThreads) {
    Queue<int> queue(3);
    std::thread taker([&] {
        for (int expected = 0;; expected++) {
            const auto item = queue.take();
            if (!item) {
                EXPECT_EQ(expected, 20000);
                return;
            }
            ASSERT_EQ(*item, expected);
        }
    });
    for (int i = 0; i < 20000;) {
        if (!queue.hasRoom()) {
            std::this_thread::yield();
            continue;
        }
        EXPECT_TRUE(queue.put(int(i++))); // room stays until the one thread that puts has put
    }
    queue.close();
    taker.join();
}
