#include "export/TemplateArchive.h"

#include <filesystem>
#include <fstream>
#include <vector>
#include <sys/stat.h>
#include <zip.h>

namespace Lumenda3D {
namespace fs = std::filesystem;
namespace {

bool unpack(zip_t* zip, const std::string& destDir, std::string& error) {
    const zip_int64_t count = zip_get_num_entries(zip, 0);
    if (count <= 0) {
        error = "the runtime template archive is empty";
        return false;
    }
    if (count > TemplateArchive::kMaxEntries) {
        error = "the runtime template archive has too many entries";
        return false;
    }
    // Check every entry before anything is written.
    std::int64_t total = 0;
    for (zip_int64_t i = 0; i < count; ++i) {
        zip_stat_t st;
        zip_stat_init(&st);
        if (zip_stat_index(zip, static_cast<zip_uint64_t>(i), ZIP_FL_ENC_RAW, &st) != 0 || !(st.valid & ZIP_STAT_NAME)) {
            error = "the runtime template archive is damaged";
            return false;
        }
        const std::string name(st.name);
        if (!TemplateArchive::isSafeEntryName(name)) {
            error = "the runtime template archive holds an unsafe path: " + name;
            return false;
        }
        zip_uint8_t os = 0;
        zip_uint32_t attributes = 0;
        if (zip_file_get_external_attributes(zip, static_cast<zip_uint64_t>(i), 0, &os, &attributes) == 0 &&
            os == ZIP_OPSYS_UNIX && S_ISLNK((attributes >> 16) & 0xffff)) {
            error = "the runtime template archive holds a link: " + name;
            return false;
        }
        if (st.valid & ZIP_STAT_SIZE)
            total += static_cast<std::int64_t>(st.size);
        if (total > TemplateArchive::kMaxTotalBytes) {
            error = "the runtime template archive unpacks to more than the editor accepts";
            return false;
        }
    }
    std::error_code ec;
    if (!fs::create_directories(destDir, ec)) {
        error = "cannot create " + destDir + (ec ? ": " + ec.message() : " (it exists)");
        return false;
    }
    std::vector<char> buffer(1 << 16);
    for (zip_int64_t i = 0; i < count; ++i) {
        const std::string name = zip_get_name(zip, static_cast<zip_uint64_t>(i), ZIP_FL_ENC_RAW);
        const fs::path target = fs::path(destDir) / name;
        if (name.back() == '/') {
            fs::create_directories(target, ec);
            if (ec) {
                error = "cannot create " + target.string() + ": " + ec.message();
                return false;
            }
            continue;
        }
        fs::create_directories(target.parent_path(), ec);
        if (fs::exists(target, ec)) {
            error = "the runtime template archive holds " + name + " twice";
            return false;
        }
        zip_file_t* file = zip_fopen_index(zip, static_cast<zip_uint64_t>(i), 0);
        if (!file) {
            error = "cannot read " + name + " from the runtime template archive: " + zip_strerror(zip);
            return false;
        }
        std::ofstream out(target, std::ios::binary | std::ios::trunc);
        zip_int64_t n = 0;
        while (out && (n = zip_fread(file, buffer.data(), buffer.size())) > 0)
            out.write(buffer.data(), n);
        const bool readFailed = n < 0;
        zip_fclose(file);
        out.close();
        if (readFailed || !out) {
            error = readFailed ? "the runtime template archive is damaged at " + name
                               : "cannot write " + target.string() + " (is the disk full?)";
            return false;
        }
        zip_uint8_t os = 0;
        zip_uint32_t attributes = 0;
        const bool executable = zip_file_get_external_attributes(zip, static_cast<zip_uint64_t>(i), 0, &os,
                                                                 &attributes) == 0 &&
                                os == ZIP_OPSYS_UNIX && ((attributes >> 16) & 0111);
        fs::permissions(target,
                        executable ? fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                                         fs::perms::others_read | fs::perms::others_exec
                                   : fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read |
                                         fs::perms::others_read,
                        ec);
    }
    return true;
}

bool unpackFrom(zip_source_t* source, zip_error_t* openError, const std::string& destDir, std::string& error) {
    if (!source) {
        error = std::string("cannot read the runtime template archive: ") + zip_error_strerror(openError);
        return false;
    }
    zip_t* zip = zip_open_from_source(source, ZIP_RDONLY | ZIP_CHECKCONS, openError);
    if (!zip) {
        zip_source_free(source);
        error = std::string("the runtime template is not a valid ZIP archive (") + zip_error_strerror(openError) + ")";
        return false;
    }
    const bool ok = unpack(zip, destDir, error);
    zip_discard(zip);
    if (!ok) {
        std::error_code ec;
        fs::remove_all(destDir, ec);
    }
    return ok;
}

} // namespace

bool TemplateArchive::isSafeEntryName(const std::string& name) {
    if (name.empty() || name[0] == '/' || name.find('\\') != std::string::npos ||
        name.find(':') != std::string::npos || name.find('\0') != std::string::npos)
        return false;
    std::size_t start = 0;
    for (;;) {
        const std::size_t end = name.find('/', start);
        const std::string part = name.substr(start, end == std::string::npos ? std::string::npos : end - start);
        if (part == "." || part == "..")
            return false;
        if (part.empty() && end != std::string::npos)
            return false;   // "a//b" or a leading "/"
        if (end == std::string::npos)
            break;
        start = end + 1;
    }
    return true;
}

bool TemplateArchive::unpackFile(const std::string& zipPath, const std::string& destDir, std::string& error) {
    zip_error_t openError;
    zip_error_init(&openError);
    zip_source_t* source = zip_source_file_create(zipPath.c_str(), 0, -1, &openError);
    const bool ok = unpackFrom(source, &openError, destDir, error);
    zip_error_fini(&openError);
    return ok;
}

bool TemplateArchive::unpackBytes(const std::string& bytes, const std::string& destDir, std::string& error) {
    zip_error_t openError;
    zip_error_init(&openError);
    zip_source_t* source = zip_source_buffer_create(bytes.data(), bytes.size(), 0, &openError);
    const bool ok = unpackFrom(source, &openError, destDir, error);
    zip_error_fini(&openError);
    return ok;
}

} // namespace Lumenda3D
