#include "capture.h"

#include <array>
#include <cstdio>
#include <sys/mman.h>
#include <unistd.h>

Capture::Capture(int fd) : fd_(fd), saved_(dup(fd)), file_(memfd_create("capture", 0))
{
    fflush(nullptr);
    dup2(file_, fd_);
}

Capture::~Capture()
{
    restore();
    close(file_);
}

void
Capture::restore()
{
    if (saved_ < 0)
        return;
    fflush(nullptr);
    dup2(saved_, fd_);
    close(saved_);
    saved_ = -1;
}

std::string
Capture::text()
{
    std::string result;
    std::array<char, 4096> buffer;

    restore();
    lseek(file_, 0, SEEK_SET);
    for (ssize_t length; (length = read(file_, buffer.data(), buffer.size())) > 0;)
        result.append(buffer.data(), static_cast<std::size_t>(length));
    return result;
}
