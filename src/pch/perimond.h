/* What takes the compiler longest of what most files of the daemon include. Each still includes all
 * that it uses. */

#include <algorithm>
#include <array>
#include <atomic>
#include <gio/gio.h>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>
