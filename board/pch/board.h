/* What takes the compiler longest of what most files of the simulated board include. Each still
 * includes all that it uses. */

#include <algorithm>
#include <any>
#include <array>
#include <chrono>
#include <fstream>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>
