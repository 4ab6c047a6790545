#pragma once
// The game's sound: the sounds a game declares with LoadSound, played and stopped by PlaySound
// and StopSound, through SDL2_mixer.
//
// Two kinds of sound:
//   - effects (LoadSound without autoPlay) are decoded into memory when loaded (Mix_Chunk) and
//     play on any free mixer channel, several at once, starting without delay;
//   - music (LoadSound autoPlay="true") is streamed from its file (Mix_Music): one music plays at
//     a time, starting another replaces it, and it starts as soon as it is loaded.
//
// Without an audio device (under Xvfb, in CI, or an SDL_AUDIODRIVER that is not available)
// init() logs one line and the system is silent: every call still checks its inputs (unknown
// sound names, missing files, files that are no sound at all) and logs the same faults, but
// nothing plays. A fault is one critical log line that names the node, and the game goes on.
//
// What the game does with sound is observable in the log at the normal level: each play that
// starts ("Sound: 'coin' started", ", looping" for a loop, and "(no audio device: not heard)"
// in silent mode), each StopSound ("Sound: 'theme' stopped", "Sound: every sound stopped"), and
// whether the device opened.
//
// One per process: SDL2_mixer has a single output. Main thread only.
#include <cstddef>
#include <map>
#include <set>
#include <string>

struct Mix_Chunk;
typedef struct _Mix_Music Mix_Music;

namespace Lumenda3D {

class LmdSoundSystem {
public:
    // A LoadSound node.
    struct SoundDeclaration {
        std::string name;
        std::string fileName; // as written in the game; named in messages
        std::string path;     // the file to read; empty: fileName
        float volume = 1.0f;  // 0..1, multiplies the volume of every play
        bool loop = false;    // every play of it loops
        bool autoPlay = false; // music: streamed, starts when loaded
        int nodeId = -1;      // xml id of the LoadSound node
    };

    LmdSoundSystem();
    ~LmdSoundSystem();
    LmdSoundSystem(const LmdSoundSystem&) = delete;
    LmdSoundSystem& operator=(const LmdSoundSystem&) = delete;

    // Opens the audio device. False when there is none: the system stays silent (one log line).
    // Calling it again does nothing and returns the same answer.
    bool init();
    // Unloads every sound and closes the device. The system is silent afterwards.
    void shutdown();
    bool isSilent() const { return !mOpen; }

    // Declares a sound and reads its file. Declaring the same name again with the same file and
    // kind keeps the loaded sound (a restarted level does not reload or restart its music);
    // another file replaces it. A file that cannot be read or decoded is one critical log line;
    // the name stays declared (playing it does nothing) and load returns false.
    bool load(const SoundDeclaration& declaration);
    // Plays a declared sound at `volume` (0..1, times the declared volume); it loops when either
    // this call or the declaration says so. Playing music again restarts it. True when the sound
    // started (in silent mode: would have); an undeclared name is logged once per name, a sound
    // whose file failed to load stays quiet (it was logged when loaded).
    bool play(const std::string& name, float volume = 1.0f, bool loop = false, int nodeId = -1);
    // Stops every play of one sound; an empty name stops everything.
    bool stop(const std::string& name, int nodeId = -1);
    void stopAll();
    bool unload(const std::string& name);
    void unloadAll();

    bool isDeclared(const std::string& name) const { return mSounds.count(name) != 0; }
    // Declared and its file read (in silent mode: the file is there and looks like a sound).
    bool isLoaded(const std::string& name) const;
    bool isPlaying(const std::string& name) const;
    bool isMusic(const std::string& name) const;
    std::size_t soundCount() const { return mSounds.size(); }

private:
    struct Sound {
        SoundDeclaration declaration;
        bool music = false;
        bool ok = false; // the file was read (and decoded, with a device)
        Mix_Chunk* chunk = nullptr;
        Mix_Music* stream = nullptr;
    };

    void release(Sound& sound);
    void haltSound(const Sound& sound);
    bool readSound(Sound& sound);
    // The log line of a play that started (or, without a device, would have).
    void noteStarted(const Sound& sound, bool loops) const;

    std::map<std::string, Sound> mSounds;
    std::set<std::string> mReportedUnknown;
    std::string mMusicPlaying; // the name of the music that was last started
    bool mInitTried = false;
    bool mOpen = false;
    int mChannels = 0;
};

} // namespace Lumenda3D
