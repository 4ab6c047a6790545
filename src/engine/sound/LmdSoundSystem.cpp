#include "engine/sound/LmdSoundSystem.h"

#include "base/LmdLog.h"

#include <SDL.h>
#include <SDL_mixer.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace Lumenda3D {

namespace {

constexpr int kChannels = 32;

std::string nodeText(int nodeId) { return nodeId >= 0 ? " (id " + std::to_string(nodeId) + ")" : ""; }
std::string namedText(const std::string& name) { return name.empty() ? "" : " '" + name + "'"; }

float volumeOf(float v) { return std::isfinite(v) ? std::clamp(v, 0.0f, 1.0f) : 1.0f; }

// Without a device nothing can decode, so the file's first bytes must show one of the formats
// the game language promises: wav, ogg, flac, mp3 (with an ID3 tag or a bare frame header).
bool looksLikeSound(const unsigned char* head, std::size_t n) {
    if (n >= 12 && std::memcmp(head, "RIFF", 4) == 0 && std::memcmp(head + 8, "WAVE", 4) == 0)
        return true;
    if (n >= 4 && (std::memcmp(head, "OggS", 4) == 0 || std::memcmp(head, "fLaC", 4) == 0))
        return true;
    if (n >= 3 && std::memcmp(head, "ID3", 3) == 0)
        return true;
    return n >= 2 && head[0] == 0xFF && (head[1] & 0xE0) == 0xE0;
}

} // namespace

LmdSoundSystem::LmdSoundSystem() = default;

LmdSoundSystem::~LmdSoundSystem() { shutdown(); }

bool LmdSoundSystem::init() {
    if (mInitTried)
        return mOpen;
    mInitTried = true;
    if (SDL_InitSubSystem(SDL_INIT_AUDIO) != 0) {
        LmdLog::message(std::string("Sound: no audio device (") + SDL_GetError() + "); the game plays without sound");
        return false;
    }
    // Loads the decoders up front; one that is missing only limits the formats.
    Mix_Init(MIX_INIT_OGG | MIX_INIT_MP3 | MIX_INIT_FLAC);
    if (Mix_OpenAudio(MIX_DEFAULT_FREQUENCY, MIX_DEFAULT_FORMAT, 2, 1024) != 0) {
        LmdLog::message(std::string("Sound: no audio device (") + Mix_GetError() + "); the game plays without sound");
        Mix_Quit();
        SDL_QuitSubSystem(SDL_INIT_AUDIO);
        return false;
    }
    mChannels = Mix_AllocateChannels(kChannels);
    mOpen = true;
    const char* driver = SDL_GetCurrentAudioDriver();
    LmdLog::message(std::string("Sound: audio device open (") + (driver ? driver : "?") + ")");
    // Sounds declared while silent were only checked: decode them now.
    for (auto& entry : mSounds) {
        Sound& sound = entry.second;
        if (sound.ok && !sound.chunk && !sound.stream)
            readSound(sound);
    }
    return true;
}

void LmdSoundSystem::shutdown() {
    unloadAll();
    if (mOpen) {
        Mix_HaltChannel(-1);
        Mix_HaltMusic();
        Mix_CloseAudio();
        Mix_Quit();
        SDL_QuitSubSystem(SDL_INIT_AUDIO);
    }
    mOpen = false;
    mInitTried = false;
    mChannels = 0;
}

bool LmdSoundSystem::readSound(Sound& sound) {
    const SoundDeclaration& d = sound.declaration;
    const std::string& path = d.path.empty() ? d.fileName : d.path;
    const std::string shown = "'" + (d.fileName.empty() ? path : d.fileName) + "'";
    const std::string where = (!d.path.empty() && d.path != d.fileName) ? " (looked for " + d.path + ")" : "";
    auto fault = [&](const std::string& what) {
        LmdLog::critical("Sound error in LoadSound" + namedText(d.name) + nodeText(d.nodeId) + ": " + what);
        sound.ok = false;
        return false;
    };
    if (path.empty())
        return fault("the sound '" + d.name + "' has no file");

    unsigned char head[12] = {};
    std::size_t n = 0;
    {
        std::FILE* file = std::fopen(path.c_str(), "rb");
        if (!file)
            return fault("cannot read " + shown + ": " + std::strerror(errno) + where);
        n = std::fread(head, 1, sizeof head, file);
        const bool failed = std::ferror(file) != 0;
        const int error = errno;
        std::fclose(file);
        if (failed)
            return fault("cannot read " + shown + ": " + std::strerror(error) + where);
    }
    if (n == 0)
        return fault("cannot read " + shown + ": the file is empty");

    if (!mOpen) {
        if (!looksLikeSound(head, n))
            return fault("cannot decode " + shown + ": it is not a wav, ogg, mp3 or flac file");
        sound.ok = true;
        return true;
    }
    if (sound.music)
        sound.stream = Mix_LoadMUS(path.c_str());
    else
        sound.chunk = Mix_LoadWAV(path.c_str());
    if (!sound.stream && !sound.chunk)
        return fault("cannot decode " + shown + ": " + Mix_GetError());
    sound.ok = true;
    return true;
}

bool LmdSoundSystem::load(const SoundDeclaration& declaration) {
    if (declaration.name.empty()) {
        LmdLog::critical("Sound error in LoadSound" + nodeText(declaration.nodeId) + ": the sound has no name");
        return false;
    }
    const bool music = declaration.autoPlay;
    auto it = mSounds.find(declaration.name);
    if (it != mSounds.end()) {
        Sound& old = it->second;
        if (old.ok && old.music == music && old.declaration.fileName == declaration.fileName &&
            old.declaration.path == declaration.path) {
            old.declaration = declaration;
            if (music && !isPlaying(declaration.name))
                play(declaration.name, 1.0f, false, declaration.nodeId);
            return true;
        }
        release(old);
        mSounds.erase(it);
    }
    Sound& sound = mSounds[declaration.name];
    sound.declaration = declaration;
    sound.music = music;
    mReportedUnknown.erase(declaration.name);
    if (!readSound(sound))
        return false;
    if (music)
        play(declaration.name, 1.0f, false, declaration.nodeId);
    return true;
}

bool LmdSoundSystem::play(const std::string& name, float volume, bool loop, int nodeId) {
    auto it = mSounds.find(name);
    if (it == mSounds.end()) {
        if (mReportedUnknown.insert(name).second)
            LmdLog::critical("Sound error in PlaySound" + nodeText(nodeId) + ": no sound named '" + name +
                             "' is declared (declare it with LoadSound)");
        return false;
    }
    Sound& sound = it->second;
    if (!sound.ok)
        return false; // its file was reported when it was loaded
    const bool loops = loop || sound.declaration.loop;
    if (!mOpen) {
        noteStarted(sound, loops);
        return true;
    }
    const float level = volumeOf(volume) * volumeOf(sound.declaration.volume);
    const int mixerVolume = static_cast<int>(std::lround(level * MIX_MAX_VOLUME));
    if (sound.music) {
        Mix_VolumeMusic(mixerVolume);
        if (Mix_PlayMusic(sound.stream, loops ? -1 : 1) != 0) {
            LmdLog::message("Sound: cannot play '" + name + "': " + Mix_GetError());
            return false;
        }
        mMusicPlaying = name;
        noteStarted(sound, loops);
        return true;
    }
    // A free channel, or else the one playing the longest: a new effect is more important.
    int channel = Mix_GroupAvailable(-1);
    if (channel < 0)
        channel = Mix_GroupOldest(-1);
    if (channel < 0)
        channel = 0;
    Mix_Volume(channel, mixerVolume);
    if (Mix_PlayChannel(channel, sound.chunk, loops ? -1 : 0) < 0) {
        LmdLog::message("Sound: cannot play '" + name + "': " + Mix_GetError());
        return false;
    }
    noteStarted(sound, loops);
    return true;
}

void LmdSoundSystem::noteStarted(const Sound& sound, bool loops) const {
    LmdLog::message("Sound: " + std::string(sound.music ? "music '" : "'") + sound.declaration.name + "' started" +
                    (loops ? ", looping" : "") + (mOpen ? "" : " (no audio device: not heard)"));
}

void LmdSoundSystem::haltSound(const Sound& sound) {
    if (!mOpen)
        return;
    if (sound.music) {
        if (sound.stream && mMusicPlaying == sound.declaration.name) {
            Mix_HaltMusic();
            mMusicPlaying.clear();
        }
        return;
    }
    if (!sound.chunk)
        return;
    for (int channel = 0; channel < mChannels; ++channel)
        if (Mix_Playing(channel) && Mix_GetChunk(channel) == sound.chunk)
            Mix_HaltChannel(channel);
}

bool LmdSoundSystem::stop(const std::string& name, int nodeId) {
    if (name.empty()) {
        stopAll();
        LmdLog::message("Sound: every sound stopped");
        return true;
    }
    auto it = mSounds.find(name);
    if (it == mSounds.end()) {
        if (mReportedUnknown.insert(name).second)
            LmdLog::critical("Sound error in StopSound" + nodeText(nodeId) + ": no sound named '" + name +
                             "' is declared (declare it with LoadSound)");
        return false;
    }
    const bool playing = isPlaying(name);
    haltSound(it->second);
    LmdLog::message("Sound: '" + name + "' stopped" + (mOpen && !playing ? " (it was not playing)" : ""));
    return true;
}

void LmdSoundSystem::stopAll() {
    if (!mOpen)
        return;
    Mix_HaltChannel(-1);
    Mix_HaltMusic();
    mMusicPlaying.clear();
}

void LmdSoundSystem::release(Sound& sound) {
    haltSound(sound);
    if (sound.chunk)
        Mix_FreeChunk(sound.chunk);
    if (sound.stream)
        Mix_FreeMusic(sound.stream);
    sound.chunk = nullptr;
    sound.stream = nullptr;
}

bool LmdSoundSystem::unload(const std::string& name) {
    auto it = mSounds.find(name);
    if (it == mSounds.end())
        return false;
    release(it->second);
    mSounds.erase(it);
    return true;
}

void LmdSoundSystem::unloadAll() {
    for (auto& entry : mSounds)
        release(entry.second);
    mSounds.clear();
    mReportedUnknown.clear();
}

bool LmdSoundSystem::isLoaded(const std::string& name) const {
    auto it = mSounds.find(name);
    return it != mSounds.end() && it->second.ok;
}

bool LmdSoundSystem::isMusic(const std::string& name) const {
    auto it = mSounds.find(name);
    return it != mSounds.end() && it->second.music;
}

bool LmdSoundSystem::isPlaying(const std::string& name) const {
    auto it = mSounds.find(name);
    if (!mOpen || it == mSounds.end() || !it->second.ok)
        return false;
    const Sound& sound = it->second;
    if (sound.music)
        return mMusicPlaying == name && Mix_PlayingMusic();
    for (int channel = 0; channel < mChannels; ++channel)
        if (Mix_Playing(channel) && Mix_GetChunk(channel) == sound.chunk)
            return true;
    return false;
}

} // namespace Lumenda3D
