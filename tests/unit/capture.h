#pragma once

#include <string>

/* Collects what is written to a file descriptor while it lives. */
class Capture {
  public:
    explicit Capture(int fd);
    ~Capture();
    Capture(const Capture &) = delete;
    Capture &operator=(const Capture &) = delete;

    /* Ends the capture. */
    std::string text();

  private:
    void restore();

    int fd_;
    int saved_;
    int file_;
};
