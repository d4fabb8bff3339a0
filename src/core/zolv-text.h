#pragma once

#include <string>
#include <string_view>

namespace zolv {

/* Makes text that did not come from our own source fit for the bus and for one line of the log:
 * each byte that is not valid UTF-8 becomes U+FFFD, each control character an escape such as "\n"
 * or "\x1b", and null the empty string. All other text stays as it is. */
std::string fit_text(const char *text);
std::string fit_text(std::string_view text);

/* What a caller of the bus may put into one line of the log. */
inline constexpr std::size_t logged_at_most = 1024;

/* Shortens text that is fit for the log to @size bytes at most, between two characters; the end
 * then shows that there was more. */
void cut_text(std::string &text, std::size_t size = logged_at_most);

} // namespace zolv
