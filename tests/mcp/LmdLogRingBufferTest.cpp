#include "mcp/LmdLogRingBuffer.h"

#include "engine/HeadlessOgre.h"

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
        buffer.record("line " + std::to_string(i), Level::Normal);
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
        buffer.record("x", l);
    EXPECT_EQ(ids(buffer.snapshot(0, 0, Level::Critical)), (std::vector<std::uint64_t>{4, 6}));
    EXPECT_EQ(ids(buffer.snapshot(0, 0, Level::Warning)), (std::vector<std::uint64_t>{3, 4, 6}));
    EXPECT_EQ(ids(buffer.snapshot(0, 1, Level::Critical)), (std::vector<std::uint64_t>{6})); // cap after filter
}

TEST(LmdLogRingBuffer, ConcurrentWritersAndReaders) {
    LmdLogRingBuffer buffer;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] { for (int i = 0; i < 1000; ++i) buffer.record("x", Level::Normal); });
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

TEST(LmdLogRingBuffer, HearsTheEnginesOwnWarningsAndTheEditorsLinesOnceEach) {
    test::HeadlessOgre::sceneManager();  // the engine's log manager and root, as the editor has them
    LmdLog::setEchoToStderr(false);
    // The editor copies its lines into the engine's log, as the application context does.
    const int copy = LmdLog::addSink([](const std::string& text, LogLevel level) {
        Ogre::LogManager::getSingleton().logMessage(text, static_cast<Ogre::LogMessageLevel>(static_cast<int>(level)));
    });
    auto buffer = std::make_unique<LmdLogRingBuffer>();
    // A line from before the first attach arrives when it is one of the process's start-up lines.
    const bool startUp = LmdLog::startLineCount() < LmdLog::kStartLines;
    LmdLog::message("before attach");
    buffer->attach();
    buffer->attach();  // a server restart registers again; lines must still arrive once

    // A real warning of the engine: a material script with a symbol it no longer supports.
    const std::string script = "material RingBufferTestMaterial { lod_distances 10 20\n technique { pass { } } }\n";
    Ogre::DataStreamPtr stream(new Ogre::MemoryDataStream(const_cast<char*>(script.data()), script.size()));
    Ogre::MaterialManager::getSingleton().parseScript(stream, Ogre::RGN_DEFAULT);
    LmdLog::warning("the texture crate.png is missing; a plain colour stands in");
    LmdLog::critical("script error in node 12");
    LmdLog::message("plain", LogLevel::Trivial);

    auto lines = buffer->snapshot(0, 0, Level::Trivial);
    ASSERT_GE(lines.size(), 4u);
    // Only this test's warnings: the start-up lines that the buffer takes up may hold warnings of
    // tests that ran before it in the same process.
    std::vector<std::string> warnings;
    for (const auto& line : buffer->snapshot(0, 0, Level::Warning))
        if (line.level == Level::Warning &&
            (line.text.find("RingBufferTestMaterial") != std::string::npos ||
             line.text.find("lod_distances") != std::string::npos || line.text.find("crate.png") != std::string::npos))
            warnings.push_back(line.text);
    ASSERT_EQ(warnings.size(), 2u);
    EXPECT_NE(warnings[0].find("deprecated symbol"), std::string::npos) << warnings[0];
    EXPECT_NE(warnings[0].find("lod_distances"), std::string::npos) << warnings[0];
    EXPECT_EQ(warnings[1], "the texture crate.png is missing; a plain colour stands in");
    int critical = 0, plain = 0, early = 0;
    for (const auto& line : lines) {
        critical += line.text == "script error in node 12" ? 1 : 0;
        plain += line.text == "plain" ? 1 : 0;
        early += line.text == "before attach" ? 1 : 0;
        if (line.text == "plain") {
            EXPECT_EQ(line.level, Level::Trivial);
        }
    }
    EXPECT_EQ(critical, 1);
    EXPECT_EQ(plain, 1);
    EXPECT_EQ(early, startUp ? 1 : 0) << "a start-up line once, though attached twice";
    EXPECT_EQ(buffer->snapshot(0, 0, Level::Critical).back().text, "script error in node 12");

    // Detached, nothing more arrives from either log; the lines and ids stay.
    const std::uint64_t last = buffer->lastId();
    buffer->detach();
    EXPECT_FALSE(buffer->isAttached());
    LmdLog::message("after detach");
    Ogre::LogManager::getSingleton().logWarning("engine after detach");
    EXPECT_EQ(buffer->lastId(), last);
    buffer->attach();
    buffer.reset();  // must leave both logs, or the next line would reach freed memory
    LmdLog::message("nobody listens");
    Ogre::LogManager::getSingleton().logWarning("nobody listens to the engine");
    Ogre::MaterialManager::getSingleton().remove("RingBufferTestMaterial", Ogre::RGN_DEFAULT);
    LmdLog::removeSink(copy);
    LmdLog::setEchoToStderr(true);
}

TEST(LmdLogRingBuffer, TheEnginesLevelsKeepTheirNumbersAndNames) {
    EXPECT_EQ(LmdLogRingBuffer::fromEngineLevel(Ogre::LML_TRIVIAL), Level::Trivial);
    EXPECT_EQ(LmdLogRingBuffer::fromEngineLevel(Ogre::LML_NORMAL), Level::Normal);
    EXPECT_EQ(LmdLogRingBuffer::fromEngineLevel(Ogre::LML_WARNING), Level::Warning);
    EXPECT_EQ(LmdLogRingBuffer::fromEngineLevel(Ogre::LML_CRITICAL), Level::Critical);
    EXPECT_EQ(LmdLogRingBuffer::fromLogLevel(LogLevel::Warning), Level::Warning);
    for (const char* name : {"trivial", "normal", "warning", "critical"}) {
        Level level = Level::Normal;
        ASSERT_TRUE(LmdLogRingBuffer::levelFromName(name, level)) << name;
        EXPECT_STREQ(LmdLogRingBuffer::levelName(level), name);
    }
    Level untouched = Level::Critical;
    EXPECT_FALSE(LmdLogRingBuffer::levelFromName("warn", untouched));
    EXPECT_EQ(untouched, Level::Critical);
}

} // namespace
} // namespace Lumenda3D
