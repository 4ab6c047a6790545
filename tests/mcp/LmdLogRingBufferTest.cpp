#include "mcp/LmdLogRingBuffer.h"

#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace Lumenda3D {
namespace {
using Level = LmdLogRingBuffer::Level;

std::vector<std::uint64_t> ids(const std::vector<LmdLogRingBuffer::Line>& lines) {
    std::vector<std::uint64_t> out;
    for (const auto& l : lines)
        out.push_back(l.id);
    return out;
}

TEST(LmdLogRingBuffer, WrapsAtCapacityAndPollsBySinceIdAndMaxLines) {
    LmdLogRingBuffer buffer;
    EXPECT_EQ(buffer.lastId(), 0u);
    for (int i = 1; i <= 2001; ++i)
        buffer.messageLogged("line " + std::to_string(i), Level::Normal);
    EXPECT_EQ(buffer.lastId(), 2001u);
    auto all = buffer.snapshot(0, 0, Level::Trivial);
    ASSERT_EQ(all.size(), 2000u);
    EXPECT_EQ(all.front().id, 2u);
    EXPECT_EQ(all.front().text, "line 2");
    EXPECT_EQ(all.back().id, 2001u);

    EXPECT_EQ(buffer.snapshot(1, 0, Level::Trivial).size(), 2000u); // older than kept: no gap marker
    EXPECT_TRUE(buffer.snapshot(buffer.lastId(), 0, Level::Trivial).empty());
    auto newest = buffer.snapshot(1500, 200, Level::Trivial);
    ASSERT_EQ(newest.size(), 200u);
    EXPECT_EQ(newest.front().id, 1802u);
    EXPECT_EQ(buffer.snapshot(1990, 200, Level::Trivial).size(), 11u);
}

TEST(LmdLogRingBuffer, MinLevelFiltersButSkippedLinesKeepTheirIds) {
    LmdLogRingBuffer buffer;
    for (Level l : {Level::Trivial, Level::Normal, Level::Warning, Level::Critical, Level::Normal, Level::Critical})
        buffer.messageLogged("x", l);
    EXPECT_EQ(ids(buffer.snapshot(0, 0, Level::Critical)), (std::vector<std::uint64_t>{4, 6}));
    EXPECT_EQ(ids(buffer.snapshot(0, 0, Level::Warning)), (std::vector<std::uint64_t>{3, 4, 6}));
    EXPECT_EQ(ids(buffer.snapshot(0, 1, Level::Critical)), (std::vector<std::uint64_t>{6})); // cap after filter
}

TEST(LmdLogRingBuffer, ConcurrentWritersAndReaders) {
    LmdLogRingBuffer buffer;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] { for (int i = 0; i < 1000; ++i) buffer.messageLogged("x", Level::Normal); });
    threads.emplace_back([&] {
        for (int i = 0; i < 50; ++i) {
            auto lines = buffer.snapshot(0, 100, Level::Trivial);
            for (std::size_t k = 1; k < lines.size(); ++k)
                ASSERT_LT(lines[k - 1].id, lines[k].id);
        }
    });
    for (auto& t : threads)
        t.join();
    EXPECT_EQ(buffer.lastId(), 4000u);
    EXPECT_EQ(buffer.snapshot(0, 0, Level::Trivial).front().id, 2001u);
}

TEST(LmdLogRingBuffer, ListensToTheEditorLogOnceWhileAttached) {
    LmdLog::setEchoToStderr(false);
    auto buffer = std::make_unique<LmdLogRingBuffer>();
    LmdLog::message("before attach");
    buffer->attachToEditorLog();
    buffer->attachToEditorLog(); // a server restart registers again; lines must still arrive once
    LmdLog::message("plain");
    LmdLog::critical("script error in node 12");
    auto lines = buffer->snapshot(0, 0, Level::Trivial);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].level, Level::Normal);
    EXPECT_EQ(lines[1].text, "script error in node 12");
    EXPECT_EQ(lines[1].level, Level::Critical);

    buffer->detachFromEditorLog();
    LmdLog::message("after detach");
    EXPECT_EQ(buffer->lastId(), 2u);
    buffer->attachToEditorLog();
    buffer.reset(); // must leave the log, or the next line would reach freed memory
    LmdLog::message("nobody listens");
    LmdLog::setEchoToStderr(true);
}

} // namespace
} // namespace Lumenda3D
