#include <gtest/gtest.h>

#include <thread>

#include "quillet/scan/walker.hpp"

namespace kelvor {
namespace {

std::vector<WorkItem> items(int count, int first = 0) {
    std::vector<WorkItem> out;
    for (int i = first; i < first + count; ++i) out.push_back({"/d" + std::to_string(i), i});
    return out;
}

// Pops and finishes without pushing until the queue hands out nothing; the buckets in pop order.
std::vector<int> drain(WorkQueue& queue) {
    std::vector<int> order;
    std::vector<WorkItem> none;
    while (std::optional<WorkItem> item = queue.pop()) {
        order.push_back(item->bucket);
        queue.finish(none);
    }
    return order;
}

TEST(WorkQueue, DepthFirstTakesTheNewestBreadthFirstTheOldest) {
    struct Case {
        QueueOrder order;
        std::vector<int> expected;  // seeds 0 and 1; the first one popped pushes 10 and 11
    };
    const Case cases[] = {{QueueOrder::depthFirst, {1, 11, 10, 0}}, {QueueOrder::breadthFirst, {0, 1, 10, 11}}};
    for (const Case& c : cases) {
        WorkQueue queue(items(2), c.order);
        std::vector<int> order = {queue.pop()->bucket};
        std::vector<WorkItem> children = items(2, 10);
        queue.finish(children);
        EXPECT_TRUE(children.empty()) << "the children are moved into the queue";
        for (int bucket : drain(queue)) order.push_back(bucket);
        EXPECT_EQ(order, c.expected) << static_cast<int>(c.order);
        EXPECT_TRUE(queue.done());
    }
}

TEST(WorkQueue, OneWorkerFindsTheEndAlone) {
    WorkQueue queue(items(1), QueueOrder::depthFirst);
    ASSERT_TRUE(queue.pop());
    EXPECT_FALSE(queue.done()) << "an item is still held";
    std::vector<WorkItem> none;
    queue.finish(none);
    EXPECT_TRUE(queue.done());
    EXPECT_FALSE(queue.pop());
    WorkQueue empty({}, QueueOrder::breadthFirst);
    EXPECT_FALSE(empty.pop());
    EXPECT_TRUE(empty.done());
}

TEST(WorkQueue, AWaitingWorkerGetsPushedItemsOrTheEnd) {
    // While one item is held the other worker must wait: it may still get work from it.
    for (bool pushChild : {true, false}) {
        WorkQueue queue(items(1), QueueOrder::depthFirst);
        ASSERT_TRUE(queue.pop());
        std::optional<WorkItem> gotByOther;
        std::thread other([&] {
            gotByOther = queue.pop();
            std::vector<WorkItem> none;
            if (gotByOther) queue.finish(none);
        });
        std::vector<WorkItem> children;
        if (pushChild) children.push_back({"/child", 7});
        queue.finish(children);
        other.join();
        EXPECT_EQ(gotByOther.has_value(), pushChild);
        if (gotByOther) {
            EXPECT_EQ(gotByOther->bucket, 7);
        }
        EXPECT_TRUE(queue.done()) << pushChild;
    }
}

TEST(WorkQueue, CancelledQueuesHandOutNothing) {
    WorkQueue waiting(items(1), QueueOrder::depthFirst);
    ASSERT_TRUE(waiting.pop());
    std::optional<WorkItem> gotByOther = WorkItem{};
    std::thread other([&] { gotByOther = waiting.pop(); });  // waits: one item is held, none is free
    waiting.cancel();
    other.join();
    EXPECT_FALSE(gotByOther) << "a cancel ends a waiting pop";

    WorkQueue full(items(5), QueueOrder::depthFirst);
    full.cancel();
    EXPECT_FALSE(full.pop()) << "and every later one";
    EXPECT_FALSE(full.done()) << "cancelled is not done: items were left";

    WorkQueue late(items(5), QueueOrder::depthFirst, std::chrono::steady_clock::now());
    EXPECT_FALSE(late.pop()) << "a deadline already passed cancels at the first pop";
    EXPECT_TRUE(late.cancelled());
}

TEST(WorkQueue, WaitingForTheEndSeesDoneCancelledOrADeadline) {
    using std::chrono::milliseconds;
    WorkQueue queue(items(1), QueueOrder::depthFirst);
    ASSERT_TRUE(queue.pop());
    EXPECT_FALSE(queue.waitEnd(milliseconds(1))) << "an item is still held";
    std::thread worker([&] {
        std::vector<WorkItem> none;
        queue.finish(none);
    });
    EXPECT_TRUE(queue.waitEnd(milliseconds(60000))) << "the last finish ends the wait";
    worker.join();
    EXPECT_TRUE(queue.done());

    WorkQueue cancelled(items(1), QueueOrder::depthFirst);
    ASSERT_TRUE(cancelled.pop());
    std::thread canceller([&] { cancelled.cancel(); });
    EXPECT_TRUE(cancelled.waitEnd(milliseconds(60000)));
    canceller.join();

    // Nobody pops after the deadline: the wait itself must notice it.
    WorkQueue late(items(1), QueueOrder::depthFirst, std::chrono::steady_clock::now() + milliseconds(20));
    ASSERT_TRUE(late.pop());
    EXPECT_TRUE(late.waitEnd(milliseconds(60000)));
    EXPECT_TRUE(late.cancelled());
}

TEST(WorkQueue, BreadthFirstDropsItsConsumedFrontOnceLargeAndMoreThanHalf) {
    WorkQueue queue(items(10000), QueueOrder::breadthFirst);
    std::vector<WorkItem> none;
    for (int expected = 0; expected < 5001; ++expected) {
        std::optional<WorkItem> item = queue.pop();
        ASSERT_EQ(item->bucket, expected) << "order survives the compaction";
        queue.finish(none);
        if (expected == 4095) {
            EXPECT_EQ(queue.stored(), 10000u) << "4096 consumed are not yet half";
        }
    }
    EXPECT_EQ(queue.stored(), 4999u) << "the front went at 5001 consumed";
    EXPECT_EQ(drain(queue).size(), 4999u);
}

}  // namespace
}  // namespace kelvor
