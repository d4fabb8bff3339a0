#include "core/zolv-text.h"

#include <glib.h>

namespace {

constexpr std::string_view replacement = "\xef\xbf\xbd"; /* U+FFFD */

/* Length of the valid character that @text begins with; 0 when there is none. */
std::size_t
character_length(std::string_view text)
{
    const gunichar character =
        g_utf8_get_char_validated(text.data(), static_cast<gssize>(text.size()));

    /* The two highest values mean a wrong and an unfinished sequence. */
    if (character >= static_cast<gunichar>(-2))
        return 0;
    return static_cast<std::size_t>(g_unichar_to_utf8(character, nullptr));
}

void
append_escape(std::string &fit, unsigned control)
{
    static constexpr char digits[] = "0123456789abcdef";

    switch (control) {
    case '\n':
        fit += "\\n";
        break;
    case '\r':
        fit += "\\r";
        break;
    case '\t':
        fit += "\\t";
        break;
    default:
        fit += {'\\', 'x', digits[control >> 4U], digits[control & 0xfU]};
    }
}

} // namespace

std::string
zolv::fit_text(std::string_view text)
{
    std::string fit;

    fit.reserve(text.size());
    while (!text.empty()) {
        const auto first = static_cast<unsigned char>(text[0]);
        std::size_t length = 1;

        if (first < 0x20 || first == 0x7f) {
            append_escape(fit, first);
        } else if (first < 0x80) {
            fit += text[0];
        } else if ((length = character_length(text)) == 0) {
            fit += replacement;
            length = 1;
        } else if (const gunichar character = g_utf8_get_char(text.data()); character < 0xa0) {
            append_escape(fit, character); /* the second set of control characters */
        } else {
            fit += text.substr(0, length);
        }
        text.remove_prefix(length);
    }
    return fit;
}

std::string
zolv::fit_text(const char *text)
{
    return text != nullptr ? fit_text(std::string_view(text)) : std::string();
}

void
zolv::cut_text(std::string &text, std::size_t size)
{
    constexpr std::string_view mark = "[...]";

    if (text.size() <= size)
        return;
    std::size_t end = size - mark.size();
    /* The bytes of a character behind its first one */
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0U) == 0x80U)
        end--;
    text.resize(end);
    text += mark;
}
