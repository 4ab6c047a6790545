#pragma once
// Standard base64 (RFC 4648, with '=' padding): images in agent results, thumbnails sent to the
// cloud server.
#include <cstddef>
#include <string>

namespace Lumenda3D {

std::string lmdBase64Encode(const unsigned char* data, std::size_t size);

} // namespace Lumenda3D
