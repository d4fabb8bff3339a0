#include "peripherals/button/zolv-button.h"

#include "core/zolv-assert.h"
#include "core/zolv-bus-call.h"
#include "core/zolv-class.h"
#include "core/zolv-fail.h"
#include "core/zolv-main-queue.h"
#include "core/zolv-obj-log.h"
#include "core/zolv-raii.h"
#include "core/zolv-text.h"
#include "core/zolv-worker.h"
#include "helpers/zolv-helpers-common.h"
#include "helpers/zolv-setting.h"
#include "peripherals/button/zolv-button-reader.h"
#include "peripherals/zolv-script-store.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <sys/eventfd.h>

#define SCRIPT_DIRECTORY "/etc/tarvel/TarvelPerimond/button-scripts"
#define USER_DEFINED "user-defined"

using zolv::fit_text;
using zolv::ScriptStore;

namespace {

namespace faults = zolv::script_faults;

constexpr char no_action[] = "disabled";
constexpr char user_defined_script[] = SCRIPT_DIRECTORY "/custom.script";

bool
name_disabled(const zolv::ScriptRequest &request)
{
    return request.name == no_action;
}

bool
name_user_defined(const zolv::ScriptRequest &request)
{
    return request.name == USER_DEFINED;
}

constexpr const char *reserved_text = "Action name reserved keywords cannot be used";
constexpr const char *unknown_text = "Action name is not exist";

constexpr std::array add_refusals = {
    zolv::ScriptRefusal{faults::source_missing, ZOLV_CORE_ERROR_INVAL_ARG,
                        "Source action script is not exist"},
    zolv::ScriptRefusal{faults::source_unreadable, ZOLV_CORE_ERROR_INVAL_FILE_ATTR,
                        "Query action script information failed"},
    zolv::ScriptRefusal{faults::source_not_regular, ZOLV_CORE_ERROR_INVAL_FILE_TYPE,
                        "Action script is not regular file"},
    zolv::ScriptRefusal{faults::name_too_long, ZOLV_CORE_ERROR_INVAL_FILE_NAME,
                        "Action name must be less than 32 characters"},
    zolv::ScriptRefusal{faults::name_malformed, ZOLV_CORE_ERROR_INVAL_FILE_NAME,
                        "Action name only allows uppercase letters, lowercase letters, numbers, "
                        "\"-\" and \"_\""},
    zolv::ScriptRefusal{name_disabled, ZOLV_CORE_ERROR_INVAL_FILE_NAME, reserved_text},
    zolv::ScriptRefusal{faults::name_reserved, ZOLV_CORE_ERROR_INVAL_FILE_NAME, reserved_text},
    zolv::ScriptRefusal{name_user_defined, ZOLV_CORE_ERROR_INVAL_FILE_NAME, reserved_text},
    zolv::ScriptRefusal{faults::name_taken, ZOLV_CORE_ERROR_INVAL_ARG,
                        "Action name is exist, please assign a unique action name"},
    zolv::ScriptRefusal{faults::script_taken, ZOLV_CORE_ERROR_INVAL_ARG, "Action script is exist"},
};

constexpr std::array remove_refusals = {
    zolv::ScriptRefusal{faults::name_unknown, ZOLV_CORE_ERROR_INVAL_ARG, unknown_text},
    zolv::ScriptRefusal{faults::script_in_use, ZOLV_CORE_ERROR_NOT_PERMIT,
                        "Action is set by other buttons"},
};

constexpr zolv::ScriptKind action_kind = {
    .directory = SCRIPT_DIRECTORY,
    .suffix = ".action",
    .add_refusals = add_refusals,
    .copy_failed = "Copy source action script failed",
    .mode_failed = "Change action script permission failed",
    .link_failed = "Create action name failed",
    .remove_refusals = remove_refusals,
    .script_gone_code = ZOLV_CORE_ERROR_FAILED,
    .script_gone = "Action script is not exist",
    .name_cut = "Action name truncated\n",
};

/* What older releases stored in place of a name. */
struct NumberedAction {
    char digit;
    const char *name;
};

constexpr std::array numbered_actions = {
    NumberedAction{'0', no_action},
    NumberedAction{'1', "default"},
    NumberedAction{'2', USER_DEFINED},
};

/* The actions of all buttons; filled when the class is made, from what is there then. */
ScriptStore &
actions()
{
    static ScriptStore store(action_kind);

    return store;
}

std::string
cut_name(const char *name)
{
    return std::string(name).substr(0, ScriptStore::max_name_length);
}

void
wake_reader(int wake_fd)
{
    constexpr std::uint64_t one = 1;

    /* A full counter wakes as well. */
    [[maybe_unused]] const ssize_t n_written = write(wake_fd, &one, sizeof one);
}

/* A link that leads there already is not made anew at each start. */
bool
link_action(const char *script, const char *link)
{
    const zolv::CharPtr target(g_file_read_link(link, nullptr));

    return g_strcmp0(target.get(), script) == 0 ||
           zolv_helper_create_symlink(script, link, nullptr);
}

void
create_user_defined_action()
{
    const std::string link = SCRIPT_DIRECTORY "/" USER_DEFINED + std::string(action_kind.suffix);

    if (!g_file_test(link.c_str(), G_FILE_TEST_IS_SYMLINK) &&
        !zolv_helper_create_symlink(user_defined_script, link.c_str(), nullptr))
        _tvl_log(TVL_LOG_WARN, "Create user-defined action name failed\n");
}

} // namespace

/* The thread ends first, then what waits for the main loop is dropped. */
struct _ZolvButtonPrivate {
    explicit _ZolvButtonPrivate(ZolvButton *button);
    _ZolvButtonPrivate(const _ZolvButtonPrivate &) = delete;
    _ZolvButtonPrivate &operator=(const _ZolvButtonPrivate &) = delete;
    ~_ZolvButtonPrivate();

    ZolvButton *self; /* not owned */
    zolv::ObjectPtr<ZolvGdbusObjButton> skeleton{zolv_gdbus_obj_button_skeleton_new()};
    zolv::Setting<std::string> stored_action;
    std::string device_path;
    std::string action;
    std::string action_script; /* empty: none */
    std::string default_action;
    zolv::UniqueFd wake_fd;
    zolv::MainJobs jobs;
    zolv::Worker reader;
};

static gboolean
handle_get_action(ZolvGdbusObjButton *skeleton, GDBusMethodInvocation *invocation, ZolvButton *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::info, "GetAction()");
    const char *name = nullptr;

    if (zolv_button_get_action(self, &name)) {
        const std::string action = fit_text(name);
        zolv_gdbus_obj_button_complete_get_action(skeleton, call.ok(", action=%s", action.c_str()),
                                                  action.c_str());
    }
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_set_action(ZolvGdbusObjButton *skeleton, GDBusMethodInvocation *invocation,
                  const char *action, ZolvButton *self)
{
    const std::string shown = fit_text(action);
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::info, "SetAction: %s",
                       shown.c_str());

    call.result_name("SetAction(%s)", shown.c_str());
    if (zolv_button_set_action(self, action, call.error()))
        zolv_gdbus_obj_button_complete_set_action(skeleton, call.ok());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

/* Of the methods that manage the actions only failures are logged. */
static gboolean
handle_add_action(ZolvGdbusObjButton *skeleton, GDBusMethodInvocation *invocation,
                  const char *action_name, const char *path, ZolvButton *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::failures, "AddAction()");

    if (zolv_button_add_action(self, action_name, path, call.error()))
        zolv_gdbus_obj_button_complete_add_action(skeleton, call.ok());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_delete_action(ZolvGdbusObjButton *skeleton, GDBusMethodInvocation *invocation,
                     const char *action_name, ZolvButton *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::failures,
                       "DeleteAction()");

    if (zolv_button_delete_action(self, action_name, call.error()))
        zolv_gdbus_obj_button_complete_delete_action(skeleton, call.ok());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_list_action(ZolvGdbusObjButton *skeleton, GDBusMethodInvocation *invocation,
                   ZolvButton *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::failures, "ListAction()");
    g_autoptr(GVariant) list = nullptr;

    if (zolv_button_list_action(&list, call.error()))
        zolv_gdbus_obj_button_complete_list_action(skeleton, call.ok(), list);
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static bool
start_reader(ZolvButton *self, GError **error)
{
    ZolvButtonPrivate *priv = self->priv;
    const auto tell = [self](const char *use) {
        self->priv->jobs.post([skeleton = self->priv->skeleton.get(), use] {
            zolv_gdbus_obj_button_emit_action_changed(skeleton, use);
        });
    };
    const zolv::ButtonReader::Task task{ZOLV_OBJ(self), priv->device_path, priv->action_script,
                                        priv->wake_fd.get(), tell};

    return priv->reader.start(
               (std::string(zolv_obj_get_name(ZOLV_OBJ(self))) + "-btn").c_str(),
               [task](const zolv::Worker &worker) { zolv::ButtonReader(task, worker).run(); },
               [wake_fd = priv->wake_fd.get()] { wake_reader(wake_fd); }) ||
           zolv::fail(error, ZOLV_CORE_ERROR_SYSTEM, "Button reader thread cannot be started");
}

_ZolvButtonPrivate::_ZolvButtonPrivate(ZolvButton *button)
    : self(button), stored_action(ZOLV_OBJ(button), "Action", ScriptStore::max_name_length)
{
    zolv_gdbus_obj_button_set_action(skeleton.get(), "default");
    zolv_gdbus_object_skeleton_set_obj_button(ZOLV_GDBUS_OBJECT_SKELETON(self), skeleton.get());
    zolv::connect_handlers(skeleton.get(), ZOLV_OBJ(self),
                           {{"handle-get-action", G_CALLBACK(handle_get_action)},
                            {"handle-set-action", G_CALLBACK(handle_set_action)},
                            {"handle-add-action", G_CALLBACK(handle_add_action)},
                            {"handle-delete-action", G_CALLBACK(handle_delete_action)},
                            {"handle-list-action", G_CALLBACK(handle_list_action)}});
}

_ZolvButtonPrivate::~_ZolvButtonPrivate()
{
    actions().deselect(action, zolv_obj_get_name(ZOLV_OBJ(self)));
}

ZOLV_DEFINE_CLASS(ZolvButton, zolv_button, ZOLV_TYPE_OBJ)
{
    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "Button");
    /* What a reader tells of a withdrawn button would reach nobody. */
    ZOLV_OBJ_CLASS(klass)->unexport_obj = [](ZolvObj *obj) {
        ZOLV_BUTTON(obj)->priv->reader.stop();
        ZOLV_BUTTON(obj)->priv->jobs.cancel();
        ZOLV_OBJ_CLASS(zolv_button_parent_class)->unexport_obj(obj);
    };
    create_user_defined_action();
    actions().reserve(USER_DEFINED);
}

void
zolv_button_define_reserved_action_script(ZolvButton *self, const char *script,
                                          const char *action_name)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_BUTTON(self));
    const std::string path = std::string(SCRIPT_DIRECTORY "/") + script;
    const std::string link = actions().link_path(cut_name(action_name));

    if (access(path.c_str(), F_OK) != 0) {
        _tvl_log(TVL_LOG_WARN, "Reserved script is not exist: %s\n", fit_text(path).c_str());
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN, "Definition: no script for action '%s'",
                     fit_text(action_name).c_str());
        return;
    }
    /* The link would take the script's place. */
    const bool to_itself = path == link;
    if (to_itself || !link_action(path.c_str(), link.c_str())) {
        _tvl_log(TVL_LOG_WARN, "Create reserved action name '%s' failed\n",
                 fit_text(action_name).c_str());
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN, "Definition: no link for action '%s'",
                     fit_text(action_name).c_str());
    }
    actions().reserve(action_name);
}

void
zolv_button_define_default_script(ZolvButton *self, const char *script, const char *action_name)
{
    zolv_button_define_reserved_action_script(self, script, action_name);
    self->priv->default_action = cut_name(action_name);
}

/* The action to begin with. */
static std::string
initial_action(ZolvButton *self)
{
    const std::optional<std::string> stored = self->priv->stored_action.read();

    if (!stored)
        return self->priv->default_action;
    /* Any name that begins with one of the digits is taken for the old form. */
    for (const NumberedAction &numbered : numbered_actions)
        if (!stored->empty() && stored->front() == numbered.digit)
            return numbered.name;
    return *stored;
}

void
zolv_button_define_device(ZolvButton *self, const char *device)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_BUTTON(self));
    ZolvButtonPrivate *priv = self->priv;
    g_autoptr(GError) error = nullptr;

    priv->reader.stop();
    priv->device_path = device;
    priv->wake_fd.reset(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
    if (!priv->wake_fd) {
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN, "Create event fd failed: %s", g_strerror(errno));
        return;
    }
    const std::string action = initial_action(self);
    if (!zolv_button_set_action(self, action.c_str(), &error))
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN, "Action '%s' is not selected: %s",
                     fit_text(action).c_str(), error->message);
    zolv_obj_export(ZOLV_OBJ(self));
}

gboolean
zolv_button_stop_service(ZolvButton *self)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_BUTTON(self));
    self->priv->reader.stop();
    return TRUE;
}

gboolean
zolv_button_get_action(ZolvButton *self, const char **action_name)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_BUTTON(self));
    *action_name = self->priv->action.c_str();
    return TRUE;
}

static void
remember_action(ZolvButton *self, const char *action_name)
{
    self->priv->stored_action.store(action_name);
    zolv_gdbus_obj_button_set_action(self->priv->skeleton.get(), fit_text(action_name).c_str());
    self->priv->action = action_name;
}

gboolean
zolv_button_set_action(ZolvButton *self, const char *action_name, GError **error)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_BUTTON(self));
    ZOLV_ASSERT(action_name);
    ZolvButtonPrivate *priv = self->priv;
    const char *user = zolv_obj_get_name(ZOLV_OBJ(self));
    const bool disabled = g_strcmp0(action_name, no_action) == 0;

    if (!disabled && !actions().exists(action_name))
        return zolv::fail(error, ZOLV_CORE_ERROR_INVAL_ARG, unknown_text);
    priv->action_script.clear();
    actions().deselect(priv->action, user);
    if (disabled) {
        remember_action(self, no_action);
    } else if (actions().registered(action_name)) {
        remember_action(self, action_name);
        priv->action_script = actions().link_path(action_name);
        actions().select(action_name, user);
    }
    priv->reader.stop();
    return priv->action_script.empty() || start_reader(self, error);
}

gboolean
zolv_button_add_action(ZolvButton *self, const char *action_name, const char *src_action_script,
                       GError **error)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_BUTTON(self));
    ZOLV_ASSERT(action_name);
    ZOLV_ASSERT(src_action_script);
    return actions().add(action_name, src_action_script, error);
}

gboolean
zolv_button_delete_action(ZolvButton *self, const char *action_name, GError **error)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_BUTTON(self));
    ZOLV_ASSERT(action_name);
    if (actions().reserved(action_name))
        return zolv::failf(error, ZOLV_CORE_ERROR_INVAL_ARG,
                           "Reserved action name \"%s\" should not be deleted", action_name);
    return actions().remove(action_name, error);
}

gboolean
zolv_button_list_action(GVariant **list, GError **error)
{
    std::vector<ScriptStore::Link> links;
    GVariantBuilder entries;

    if (!actions().list(links, error))
        return FALSE;
    g_variant_builder_init(&entries, G_VARIANT_TYPE("a(sbs)"));
    for (const ScriptStore::Link &link : links)
        g_variant_builder_add(&entries, "(sbs)", fit_text(link.name).c_str(),
                              actions().reserved(link.name), fit_text(link.target).c_str());
    *list = g_variant_ref_sink(g_variant_builder_end(&entries));
    return TRUE;
}
