#pragma once

namespace zolv {

/* From now on whatever makes the C++ library end the process, such as an exception that nobody
 * catches, is told in one line on standard error before the process aborts. */
void tell_of_terminate();

} // namespace zolv
