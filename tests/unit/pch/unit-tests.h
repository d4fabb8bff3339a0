/* What takes the compiler longest of what most unit tests include. Each still includes all that it
 * uses. */

#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <gio/gio.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>
