#include "engine/sound/LmdSoundSystem.h"

#include "TestDataRoot.h"
#include "base/LmdLog.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

using namespace Lumenda3D;

namespace {

// A mono 16-bit PCM WAV with a sine tone.
void writeWav(const std::string& path, float seconds, int rate = 22050) {
    const std::uint32_t samples = static_cast<std::uint32_t>(seconds * rate);
    const std::uint32_t dataBytes = samples * 2;
    std::ofstream out(path, std::ios::binary);
    auto u32 = [&](std::uint32_t v) { out.write(reinterpret_cast<const char*>(&v), 4); };
    auto u16 = [&](std::uint16_t v) { out.write(reinterpret_cast<const char*>(&v), 2); };
    out.write("RIFF", 4);
    u32(36 + dataBytes);
    out.write("WAVEfmt ", 8);
    u32(16);
    u16(1); // PCM
    u16(1); // mono
    u32(static_cast<std::uint32_t>(rate));
    u32(static_cast<std::uint32_t>(rate) * 2);
    u16(2);
    u16(16);
    out.write("data", 4);
    u32(dataBytes);
    for (std::uint32_t i = 0; i < samples; ++i)
        u16(static_cast<std::uint16_t>(static_cast<std::int16_t>(8000 * std::sin(i * 440.0 * 6.2831853 / rate))));
}

class LmdSoundSystemTest : public test::DataRootTest {
protected:
    void SetUp() override {
        if (const char* old = std::getenv("SDL_AUDIODRIVER"))
            oldDriver = old;
        LmdLog::setEchoToStderr(false);
        sink = LmdLog::addSink([this](const std::string& text, LogLevel level) {
            (level == LogLevel::Critical ? critical : normal).push_back(text);
        });
        dir = dataRoot.path().string() + "/";
        writeWav(dir + "jump.wav", 2.0f);
        writeWav(dir + "coin.wav", 2.0f);
        writeWav(dir + "theme.wav", 3.0f);
        std::ofstream(dir + "notes.wav") << "this is not a sound, it is a shopping list\n";
    }
    void TearDown() override {
        LmdLog::removeSink(sink);
        LmdLog::setEchoToStderr(true);
        if (oldDriver.empty())
            unsetenv("SDL_AUDIODRIVER");
        else
            setenv("SDL_AUDIODRIVER", oldDriver.c_str(), 1);
    }

    LmdSoundSystem::SoundDeclaration declare(const std::string& name, const std::string& file, int id,
                                             bool autoPlay = false) {
        LmdSoundSystem::SoundDeclaration d;
        d.name = name;
        d.fileName = file;
        d.path = dir + file;
        d.nodeId = id;
        d.autoPlay = autoPlay;
        return d;
    }

    // The faults every mode must report the same way: each is one critical line naming the node
    // and the file, and the game goes on.
    void expectFileFaultsReported(LmdSoundSystem& sound) {
        critical.clear();
        EXPECT_FALSE(sound.load(declare("boom", "boom.wav", 12)));
        ASSERT_EQ(critical.size(), 1u);
        EXPECT_NE(critical[0].find("Sound error in LoadSound 'boom' (id 12): cannot read 'boom.wav'"), std::string::npos)
            << critical[0];
        EXPECT_FALSE(sound.load(declare("notes", "notes.wav", 13)));
        ASSERT_EQ(critical.size(), 2u);
        EXPECT_NE(critical[1].find("LoadSound 'notes' (id 13)"), std::string::npos) << critical[1];
        EXPECT_NE(critical[1].find("'notes.wav'"), std::string::npos) << critical[1];
        std::ofstream(dir + "empty.wav").close();
        EXPECT_FALSE(sound.load(declare("empty", "empty.wav", 14)));
        ASSERT_EQ(critical.size(), 3u);
        EXPECT_NE(critical[2].find("(id 14)"), std::string::npos) << critical[2];

        // Declared but broken: playing it is quiet (it was reported once, when loaded).
        EXPECT_TRUE(sound.isDeclared("boom"));
        EXPECT_FALSE(sound.isLoaded("boom"));
        EXPECT_FALSE(sound.play("boom", 1, false, 30));
        EXPECT_FALSE(sound.isPlaying("boom"));
        // Undeclared: reported once per name, naming the node that asked.
        EXPECT_FALSE(sound.play("jmp", 1, false, 31));
        EXPECT_FALSE(sound.play("jmp", 1, false, 31));
        EXPECT_FALSE(sound.stop("jmp", 32));
        ASSERT_EQ(critical.size(), 4u);
        EXPECT_NE(critical[3].find("PlaySound (id 31)"), std::string::npos) << critical[3];
        EXPECT_NE(critical[3].find("'jmp'"), std::string::npos) << critical[3];
        EXPECT_FALSE(sound.load(declare("", "jump.wav", 15)));
        EXPECT_EQ(critical.size(), 5u);
    }

    std::string oldDriver;
    std::string dir;
    int sink = 0;
    std::vector<std::string> critical, normal;
};

} // namespace

TEST_F(LmdSoundSystemTest, WithoutADeviceEverythingIsSilentButInputIsStillChecked) {
    setenv("SDL_AUDIODRIVER", "lumenda3d-no-such-driver", 1);
    LmdSoundSystem sound;
    EXPECT_TRUE(sound.isSilent()) << "silent until opened";
    EXPECT_FALSE(sound.init());
    EXPECT_FALSE(sound.init()) << "a second try gives the same answer without another line";
    EXPECT_TRUE(sound.isSilent());
    ASSERT_EQ(normal.size(), 1u);
    EXPECT_NE(normal[0].find("no audio device"), std::string::npos) << normal[0];
    EXPECT_TRUE(critical.empty());

    EXPECT_TRUE(sound.load(declare("jump", "jump.wav", 10)));
    EXPECT_TRUE(sound.load(declare("theme", "theme.wav", 11, true)));
    EXPECT_TRUE(sound.isLoaded("jump"));
    EXPECT_TRUE(sound.isMusic("theme"));
    EXPECT_TRUE(sound.play("jump", 0.5f, true, 20)) << "valid, just not heard";
    EXPECT_FALSE(sound.isPlaying("jump"));
    EXPECT_FALSE(sound.isPlaying("theme"));
    EXPECT_TRUE(sound.play("jump", NAN, false));
    EXPECT_TRUE(sound.stop("jump"));
    EXPECT_TRUE(sound.stop(""));
    EXPECT_TRUE(critical.empty());
    // What the game did with sound can be read in the log, heard or not.
    EXPECT_EQ(normal, (std::vector<std::string>{
                          normal[0],
                          "Sound: music 'theme' started (no audio device: not heard)",
                          "Sound: 'jump' started, looping (no audio device: not heard)",
                          "Sound: 'jump' started (no audio device: not heard)",
                          "Sound: 'jump' stopped",
                          "Sound: every sound stopped",
                      }));

    expectFileFaultsReported(sound);

    EXPECT_TRUE(sound.unload("jump"));
    EXPECT_FALSE(sound.unload("jump"));
    sound.shutdown();
    EXPECT_EQ(sound.soundCount(), 0u);
}

TEST_F(LmdSoundSystemTest, DummyDriverLoadsPlaysAndStopsRealFiles) {
    setenv("SDL_AUDIODRIVER", "dummy", 1);
    LmdSoundSystem sound;
    ASSERT_TRUE(sound.init()) << (normal.empty() ? "" : normal.back());
    EXPECT_FALSE(sound.isSilent());

    // Effects: decoded, several at once, stopped one by one.
    ASSERT_TRUE(sound.load(declare("jump", "jump.wav", 10)));
    ASSERT_TRUE(sound.load(declare("coin", "coin.wav", 11)));
    EXPECT_FALSE(sound.isPlaying("jump")) << "effects wait for PlaySound";
    EXPECT_TRUE(sound.play("jump"));
    EXPECT_TRUE(sound.play("coin", 0.3f, true));
    EXPECT_TRUE(sound.play("coin"));
    EXPECT_TRUE(sound.isPlaying("jump"));
    EXPECT_TRUE(sound.isPlaying("coin"));
    EXPECT_TRUE(sound.stop("coin"));
    EXPECT_FALSE(sound.isPlaying("coin")) << "both plays of it";
    EXPECT_TRUE(sound.isPlaying("jump"));

    // Music starts when declared; declaring it again (a restarted level) keeps it going.
    ASSERT_TRUE(sound.load(declare("theme", "theme.wav", 12, true)));
    EXPECT_TRUE(sound.isMusic("theme"));
    EXPECT_TRUE(sound.isPlaying("theme"));
    EXPECT_TRUE(sound.load(declare("theme", "theme.wav", 12, true)));
    EXPECT_TRUE(sound.isPlaying("theme"));
    EXPECT_TRUE(sound.stop("theme"));
    EXPECT_FALSE(sound.isPlaying("theme"));
    EXPECT_TRUE(sound.isPlaying("jump")) << "stopping the music leaves the effects";
    EXPECT_EQ(normal[0], "Sound: audio device open (dummy)");
    EXPECT_EQ(std::vector<std::string>(normal.begin() + 1, normal.end()),
              (std::vector<std::string>{"Sound: 'jump' started", "Sound: 'coin' started, looping",
                                        "Sound: 'coin' started", "Sound: 'coin' stopped",
                                        "Sound: music 'theme' started", "Sound: 'theme' stopped"}))
        << "a music declared again while it plays is not started again";
    normal.clear();
    EXPECT_TRUE(sound.stop("theme"));
    EXPECT_EQ(normal, std::vector<std::string>{"Sound: 'theme' stopped (it was not playing)"});

    // Another file under the same name replaces the sound.
    ASSERT_TRUE(sound.load(declare("jump", "coin.wav", 10)));
    EXPECT_FALSE(sound.isPlaying("jump")) << "the old sound stopped when replaced";

    EXPECT_TRUE(sound.play("coin"));
    EXPECT_TRUE(sound.play("theme"));
    EXPECT_TRUE(sound.stop(""));
    EXPECT_FALSE(sound.isPlaying("coin"));
    EXPECT_FALSE(sound.isPlaying("theme"));
    EXPECT_TRUE(critical.empty());

    expectFileFaultsReported(sound);
    EXPECT_TRUE(sound.play("coin")) << "the game goes on after the faults";
    EXPECT_TRUE(sound.isPlaying("coin"));

    sound.shutdown();
    EXPECT_TRUE(sound.isSilent());
    EXPECT_EQ(sound.soundCount(), 0u);
}

TEST_F(LmdSoundSystemTest, SoundsDeclaredBeforeTheDeviceOpensAreDecodedWhenItDoes) {
    setenv("SDL_AUDIODRIVER", "dummy", 1);
    LmdSoundSystem sound;
    ASSERT_TRUE(sound.load(declare("jump", "jump.wav", 10)));
    ASSERT_TRUE(sound.init());
    EXPECT_TRUE(sound.play("jump"));
    EXPECT_TRUE(sound.isPlaying("jump"));
}
