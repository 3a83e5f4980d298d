// SPDX-License-Identifier: BSD-3-Clause
#include "volume/FileIdentity.h"

#include <filesystem>
#include <iomanip>
#include <sstream>
#include <system_error>

#include <sys/stat.h>

namespace TEVRA::volume {
namespace {

void add_time(std::ostream& text, const timespec& time) {
    text << time.tv_sec << '.' << std::setw(9) << std::setfill('0') << time.tv_nsec;
}

void add_path(std::ostream& text, const std::string& path) {
    std::error_code error;
    for (const char c : std::filesystem::absolute(path, error).string()) {
        const bool isControl = static_cast<unsigned char>(c) < ' ';
        text << (isControl ? '?' : c); // all on one line
    }
}

} // namespace

std::string FileIdentity(const IImageReader& reader) {
    std::ostringstream text;
    for (const std::string& path : reader.Files()) {
        struct stat status {};
        add_path(text, path);
        if (stat(path.c_str(), &status) != 0) {
            text << " missing, ";
            continue;
        }
        text << ' ' << status.st_size << " bytes of ";
        add_time(text, status.st_mtim);
        // Copying and unpacking may set the time of writing back; this one nobody sets.
        text << " changed ";
        add_time(text, status.st_ctim);
        text << ", ";
    }
    return text.str();
}

} // namespace TEVRA::volume
