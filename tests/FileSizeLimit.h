#pragma once
// Limits the size of any file this process writes, as a full disk would, for one scope. Works for
// root too (unlike a read-only folder). SIGXFSZ is ignored meanwhile, so a write past the limit
// fails with EFBIG instead of ending the process.
#include <csignal>

#include <sys/resource.h>

namespace Lumenda3D::test {

class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        getrlimit(RLIMIT_FSIZE, &old_);
        oldHandler_ = std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit = old_;
        limit.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &old_);
        std::signal(SIGXFSZ, oldHandler_);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit old_{};
    void (*oldHandler_)(int) = SIG_DFL;
};

} // namespace Lumenda3D::test
