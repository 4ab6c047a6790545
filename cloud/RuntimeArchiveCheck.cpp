#include "RuntimeArchiveCheck.h"

#include <zip.h>

#include <memory>

namespace Lumenda3D::Cloud {
namespace {

bool isSafeEntryName(const std::string& name) {
    if (name.empty() || name[0] == '/' || name.find('\\') != std::string::npos || name.find(':') != std::string::npos)
        return false;
    std::size_t start = 0;
    while (start <= name.size()) {
        const std::size_t end = name.find('/', start);
        const std::string part = name.substr(start, end == std::string::npos ? std::string::npos : end - start);
        if (part == "..")
            return false;
        if (end == std::string::npos)
            break;
        start = end + 1;
    }
    return true;
}

} // namespace

std::string RuntimeArchiveCheck::problemWith(const std::string& platform, const std::string& archive) {
    zip_error_t error;
    zip_error_init(&error);
    zip_source_t* source = zip_source_buffer_create(archive.data(), archive.size(), 0, &error);
    if (!source)
        return "the archive cannot be read";
    zip_t* zip = zip_open_from_source(source, ZIP_RDONLY | ZIP_CHECKCONS, &error);
    if (!zip) {
        zip_source_free(source);
        const std::string why = zip_error_strerror(&error);
        zip_error_fini(&error);
        return "the file is not a ZIP archive (" + why + ")";
    }
    std::unique_ptr<zip_t, int (*)(zip_t*)> closer(zip, zip_close);
    const zip_int64_t count = zip_get_num_entries(zip, 0);
    if (count <= 0)
        return "the archive is empty";
    bool hasWindowsPlayer = false;
    for (zip_int64_t i = 0; i < count; ++i) {
        const char* name = zip_get_name(zip, static_cast<zip_uint64_t>(i), ZIP_FL_ENC_RAW);
        if (!name || !isSafeEntryName(name))
            return std::string("the archive holds an entry with an unsafe path: ") + (name ? name : "(no name)");
        if (std::string(name) == "lumenda3d-player.exe") {
            zip_file_t* file = zip_fopen_index(zip, static_cast<zip_uint64_t>(i), 0);
            char head[2] = {};
            if (file && zip_fread(file, head, 2) == 2 && head[0] == 'M' && head[1] == 'Z')
                hasWindowsPlayer = true;
            if (file)
                zip_fclose(file);
        }
    }
    if (platform == "windows" && !hasWindowsPlayer)
        return "a Windows runtime template needs lumenda3d-player.exe, a Windows program, at the top of the archive";
    return "";
}

} // namespace Lumenda3D::Cloud
