#pragma once

#include "core/zolv-bus-call.h"
#include "helpers/zolv-setting.h"

#include <optional>
#include <string>

namespace zolv {

/* What differs among the classes whose interfaces can be switched off. */
struct IoStateRules {
    int refused_level;         /* of the line about a refused SetIOState() */
    bool name_required = true; /* whether bind() insists on a name */
};

/*
 * Whether an interface is switched on. The boot loader's environment owns that: it is read at the
 * start and published, and a wish for the other state is stored and written back, for the next
 * boot. What is published stays as it was found.
 *
 * A member of the owner's private data, behind the skeleton, since its end writes the wish once
 * more. It reaches the skeleton of any kind through the property "iostate".
 */
class IoState {
  public:
    enum State : guint { not_applicable = 0, disabled = 1, enabled = 2 };

    IoState(ZolvObj *owner, gpointer skeleton, IoStateRules rules)
        : owner_(owner), skeleton_(skeleton), rules_(rules), wish_(owner, "IOState")
    {
    }
    IoState(const IoState &) = delete;
    IoState &operator=(const IoState &) = delete;
    ~IoState();

    /* Binds a variable of the boot environment; null binds none. */
    void bind(const char *bootenv);
    /* The state that the bound variable asks for. */
    guint read_boot_state() const;
    /* Publishes the state that was found at the start. */
    void publish(guint state);
    guint at_start() const { return at_start_; }
    guint published() const;
    bool available() const { return published() != disabled; }
    /* The method SetIOState(): every value but 2 switches the interface off. */
    bool set(BusCall &call, guint wanted) const;

  private:
    void write_back() const;

    ZolvObj *owner_; /* not owned, as the skeleton */
    gpointer skeleton_;
    IoStateRules rules_;
    Setting<bool> wish_;
    std::optional<std::string> bootenv_; /* empty text: a name that no variable has */
    guint at_start_ = not_applicable;
};

} // namespace zolv

/* The exported operations of a class @Type with a private member `io_state`, documented in its
 * header. With the second form a class says what its callbacks take (a list that names `self`), and
 * how they are called. */
#define ZOLV_DEFINE_IO_STATE_API(kind, Type)                                                       \
    ZOLV_DEFINE_IO_STATE_API_WITH(kind, Type, (self, user_data), Type *self G_GNUC_UNUSED, gpointer)

#define ZOLV_DEFINE_IO_STATE_API_WITH(kind, Type, arguments, ...)                                  \
    void zolv_##kind##_bind_bootenv(Type *self, const char *bootenv)                               \
    {                                                                                              \
        self->priv->io_state.bind(bootenv);                                                        \
    }                                                                                              \
    guint zolv_##kind##_enable_directly(__VA_ARGS__)                                               \
    {                                                                                              \
        return zolv::IoState::enabled;                                                             \
    }                                                                                              \
    guint zolv_##kind##_enable_by_bootenv(__VA_ARGS__)                                             \
    {                                                                                              \
        return self->priv->io_state.read_boot_state();                                             \
    }                                                                                              \
    void zolv_##kind##_init_iostate(Type *self, Type##IOStateFunc callback, gpointer user_data)    \
    {                                                                                              \
        self->priv->io_state.publish(callback arguments);                                          \
    }                                                                                              \
    gboolean zolv_##kind##_is_available(Type *self)                                                \
    {                                                                                              \
        return self->priv->io_state.available();                                                   \
    }                                                                                              \
    void zolv_##kind##_export(Type *self)                                                          \
    {                                                                                              \
        zolv_obj_export(ZOLV_OBJ(self));                                                           \
    }                                                                                              \
    void zolv_##kind##_unexport(Type *self)                                                        \
    {                                                                                              \
        zolv_obj_unexport(ZOLV_OBJ(self));                                                         \
    }                                                                                              \
    static_assert(true) /* takes the semicolon */
