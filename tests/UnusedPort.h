#pragma once
// A loopback port that nothing listens on: bound once by the system's choice, then released.
// Another process may take it in between, which tests accept as a (rare) failure to start.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Lumenda3D::test {

inline int unusedPort() {
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0)
        return 0;
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = 0;
    socklen_t length = sizeof addr;
    const bool ok = ::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0 &&
                    ::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &length) == 0;
    ::close(fd);
    return ok ? ntohs(addr.sin_port) : 0;
}

} // namespace Lumenda3D::test
