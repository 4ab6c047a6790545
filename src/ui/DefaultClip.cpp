#include "ui/DefaultClip.h"

#include <SDL.h>

namespace Lumenda3D {

bool DefaultClip::hasSystemClipboard() { return SDL_WasInit(SDL_INIT_VIDEO) != 0; }

void DefaultClip::setText(const std::string& text) {
    localText_ = text;
    localIsCurrent_ = !hasSystemClipboard() || SDL_SetClipboardText(text.c_str()) != 0;
}

std::string DefaultClip::getText() {
    if (localIsCurrent_ || !hasSystemClipboard())
        return localText_;
    char* text = SDL_GetClipboardText();
    if (text == nullptr)
        return localText_;
    std::string result(text);
    SDL_free(text);
    return result;
}

} // namespace Lumenda3D
