#include "core/LmdStartScreenshot.h"

#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "core/Lumenda3DEditor.h"
#include "engine/app/LmdImageEncoder.h"
#include "services/FileManager.h"

namespace Lumenda3D {

LmdStartScreenshot::LmdStartScreenshot(Lumenda3DEditor& editor, std::string path)
    : editor_(editor), path_(std::move(path)) {}

void LmdStartScreenshot::frameRendered() {
    if (written_ || failed_ || editor_.getPlayStatus() == LmdRuntime::Loading)
        return;
    if (++settled_ < kSettleFrames)
        return;
    std::vector<unsigned char> rgb;
    int width = 0, height = 0;
    std::string error = "the window could not be read";
    if (editor_.readWindowPixels(rgb, width, height)) {
        const std::vector<unsigned char> png = LmdImageEncoder::encodePng(rgb.data(), width, height);
        error = "the picture could not be encoded";
        if (!png.empty() && FileManager::writeFileAtomic(path_, std::string(png.begin(), png.end()), &error))
            written_ = true;
    }
    if (written_) {
        std::cout << "Screenshot written to " << path_ << " (" << width << "x" << height << ")" << std::endl;
    } else {
        failed_ = true;
        std::cerr << "Could not write the screenshot " << path_ << ": " << error << std::endl;
    }
    editor_.requestStop();
}

} // namespace Lumenda3D
