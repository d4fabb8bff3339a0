#pragma once

#include <glib.h>

/* g_assert() would print the whole C++ signature of the function; these print its plain name, and
 * the expression as it is written. The message goes to standard error and the process aborts. */
#define ZOLV_ASSERT(expr)                                                                          \
    do {                                                                                           \
        if (G_UNLIKELY(!(expr)))                                                                   \
            g_assertion_message_expr(G_LOG_DOMAIN, __FILE__, __LINE__, __func__, #expr);           \
    } while (0)

#define ZOLV_ASSERT_NOT_REACHED()                                                                  \
    g_assertion_message_expr(G_LOG_DOMAIN, __FILE__, __LINE__, __func__, NULL)
