#pragma once

#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <vector>

/* The paths of the product are fixed, so the world around it moves: the test program, whose main()
 * is here too, lives in a mount namespace of its own. In it /sys is empty, and /etc and /usr/sbin
 * show what the system has there without passing on what a test does to them. */

/* A test that finds the world empty, and reads the log, debug lines included. */
class PrivateWorld : public testing::Test {
  protected:
    void SetUp() override;

    /* The lines since the last call. */
    std::vector<std::string> log();
    using Lines = std::vector<std::string>;
};

/* Writes a file and the folders that lead to it. */
void put_file(const std::string &path, const std::string &content);
std::string file_content(const std::string &path);
bool exists(const std::string &path);
/* Permission bits. */
unsigned mode_of(const std::string &path);
/* The names in a folder, sorted. */
std::vector<std::string> names_in(const std::string &path);
/* A file that opens but refuses every write with ENOSPC. */
void put_full_device(const std::string &path);
