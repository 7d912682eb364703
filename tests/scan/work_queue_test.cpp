#include <gtest/gtest.h>

#include <thread>

#include "quillet/scan/walker.hpp"

namespace kelvor {
namespace {

std::vector<WorkItem> items(int count, int firstBucket = 0) {
    std::vector<WorkItem> out;
    for (int i = 0; i < count; ++i) out.push_back({"/d" + std::to_string(firstBucket + i), firstBucket + i});
    return out;
}

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
        std::vector<int> expected;
    };
    const Case cases[] = {{QueueOrder::depthFirst, {2, 1, 0}}, {QueueOrder::breadthFirst, {0, 1, 2}}};
    for (const Case& c : cases) {
        WorkQueue queue(items(3), c.order);
        EXPECT_EQ(drain(queue), c.expected) << static_cast<int>(c.order);
        EXPECT_TRUE(queue.done());
    }
}

TEST(WorkQueue, PushedChildrenComeNextInDepthFirstAndLastInBreadthFirst) {
    for (QueueOrder order : {QueueOrder::depthFirst, QueueOrder::breadthFirst}) {
        WorkQueue queue(items(2), order);
        std::optional<WorkItem> first = queue.pop();
        ASSERT_TRUE(first);
        std::vector<WorkItem> children = items(2, 10);
        queue.finish(children);
        EXPECT_TRUE(children.empty()) << "the children are moved into the queue";
        std::vector<int> rest = drain(queue);
        if (order == QueueOrder::depthFirst) EXPECT_EQ(rest, (std::vector<int>{11, 10, 0}));
        else EXPECT_EQ(rest, (std::vector<int>{1, 10, 11}));
    }
}

TEST(WorkQueue, OneWorkerFindsTheEndAlone) {
    WorkQueue queue(items(1), QueueOrder::depthFirst);
    std::optional<WorkItem> only = queue.pop();
    ASSERT_TRUE(only);
    EXPECT_FALSE(queue.done()) << "an item is still held";
    std::vector<WorkItem> none;
    queue.finish(none);
    EXPECT_TRUE(queue.done());
    EXPECT_FALSE(queue.pop());
    WorkQueue empty({}, QueueOrder::breadthFirst);
    EXPECT_FALSE(empty.pop());
    EXPECT_TRUE(empty.done());
}

TEST(WorkQueue, AWaitingWorkerIsWokenByPushedItems) {
    WorkQueue queue(items(1), QueueOrder::depthFirst);
    std::optional<WorkItem> held = queue.pop();
    ASSERT_TRUE(held);
    std::optional<WorkItem> gotByOther;
    std::thread other([&] {
        gotByOther = queue.pop();  // waits: the list is empty but one item is held
        std::vector<WorkItem> none;
        if (gotByOther) queue.finish(none);
    });
    std::vector<WorkItem> child = {{"/child", 7}};
    queue.finish(child);
    other.join();
    ASSERT_TRUE(gotByOther);
    EXPECT_EQ(gotByOther->bucket, 7);
    EXPECT_TRUE(queue.done());
}

TEST(WorkQueue, AWaitingWorkerEndsWhenTheLastHolderFinishesEmpty) {
    WorkQueue queue(items(1), QueueOrder::depthFirst);
    std::optional<WorkItem> held = queue.pop();
    std::optional<WorkItem> gotByOther = WorkItem{"/sentinel", -1};
    std::thread other([&] { gotByOther = queue.pop(); });
    std::vector<WorkItem> none;
    queue.finish(none);
    other.join();
    EXPECT_FALSE(gotByOther);
    EXPECT_TRUE(queue.done());
}

TEST(WorkQueue, CancelledQueuesHandOutNothing) {
    WorkQueue queue(items(5), QueueOrder::depthFirst);
    queue.cancel();
    EXPECT_FALSE(queue.pop());
    EXPECT_TRUE(queue.cancelled());
    EXPECT_FALSE(queue.done()) << "cancelled is not done: items were left";

    WorkQueue late(items(5), QueueOrder::depthFirst, std::chrono::steady_clock::now());
    EXPECT_FALSE(late.pop()) << "a deadline already passed cancels at the first pop";
    EXPECT_TRUE(late.cancelled());
}

TEST(WorkQueue, ACancelWakesAWaitingWorker) {
    WorkQueue queue(items(1), QueueOrder::depthFirst);
    std::optional<WorkItem> held = queue.pop();
    std::optional<WorkItem> gotByOther = WorkItem{"/sentinel", -1};
    std::thread other([&] { gotByOther = queue.pop(); });
    queue.cancel();
    other.join();
    EXPECT_FALSE(gotByOther);
}

TEST(WorkQueue, BreadthFirstDropsItsConsumedFrontOnceItIsLarge) {
    const int total = 10000;
    WorkQueue queue(items(total), QueueOrder::breadthFirst);
    std::vector<WorkItem> none;
    int expected = 0;
    // Nothing is dropped while the consumed front is under 4096 or under half of the list.
    for (; expected < 4096; ++expected) {
        std::optional<WorkItem> item = queue.pop();
        ASSERT_TRUE(item);
        ASSERT_EQ(item->bucket, expected);
        queue.finish(none);
    }
    EXPECT_EQ(queue.stored(), static_cast<std::size_t>(total));
    for (; expected < 5001; ++expected) {
        std::optional<WorkItem> item = queue.pop();
        ASSERT_TRUE(item);
        ASSERT_EQ(item->bucket, expected) << "order survives the compaction";
        queue.finish(none);
    }
    EXPECT_EQ(queue.stored(), static_cast<std::size_t>(total - 5001)) << "the front went once it was more than half";
    EXPECT_EQ(drain(queue).size(), static_cast<std::size_t>(total - 5001));
}

}  // namespace
}  // namespace kelvor
