#include "guard/zolv-guard-objects.h"

#include "core/zolv-raii.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>

namespace {

constexpr std::string_view object_manager = "org.freedesktop.DBus.ObjectManager";
constexpr std::string_view list_call = "GetManagedObjects";
constexpr std::string_view list_signature = "a{oa{sa{sv}}}";

struct Announcement {
    std::string_view interface;
    std::string_view member;
    std::string_view signature;
};

constexpr std::array announcements = {
    Announcement{object_manager, "InterfacesAdded", "oa{sa{sv}}"},
    Announcement{object_manager, "InterfacesRemoved", "oas"},
    Announcement{"org.freedesktop.DBus.Properties", "PropertiesChanged", "sa{sv}as"},
};

using MessagePtr = zolv::ObjectPtr<GDBusMessage>;

std::string_view
text(const gchar *field)
{
    return field != nullptr ? field : "";
}

bool
is_sound_signal(GDBusMessage *message)
{
    const std::string_view interface = text(g_dbus_message_get_interface(message));
    const std::string_view member = text(g_dbus_message_get_member(message));
    const auto *const known =
        std::find_if(announcements.begin(), announcements.end(), [&](const Announcement &row) {
            return row.member == member && row.interface == interface;
        });

    return known == announcements.end() ||
           known->signature == text(g_dbus_message_get_signature(message));
}

/* What has arrived cannot be changed. */
MessagePtr
failed_list(GDBusMessage *reply)
{
    MessagePtr error(g_dbus_message_new());

    g_dbus_message_set_message_type(error.get(), G_DBUS_MESSAGE_TYPE_ERROR);
    g_dbus_message_set_serial(error.get(), g_dbus_message_get_serial(reply));
    g_dbus_message_set_reply_serial(error.get(), g_dbus_message_get_reply_serial(reply));
    g_dbus_message_set_sender(error.get(), g_dbus_message_get_sender(reply));
    g_dbus_message_set_destination(error.get(), g_dbus_message_get_destination(reply));
    g_dbus_message_set_error_name(error.get(), "org.freedesktop.DBus.Error.InvalidSignature");
    g_dbus_message_set_body(error.get(), g_variant_new("(s)", "The list of objects is none"));
    return error;
}

/* Only GDBus's thread comes here. */
class ObjectManagerGuard {
  public:
    /* Takes a message over; null where nobody is to have it. */
    MessagePtr pass(MessagePtr message, bool incoming)
    {
        switch (g_dbus_message_get_message_type(message.get())) {
        case G_DBUS_MESSAGE_TYPE_METHOD_CALL:
            if (!incoming && text(g_dbus_message_get_member(message.get())) == list_call)
                asked_.insert(g_dbus_message_get_serial(message.get()));
            break;
        case G_DBUS_MESSAGE_TYPE_METHOD_RETURN:
            if (incoming && answers(message.get()) &&
                text(g_dbus_message_get_signature(message.get())) != list_signature)
                return failed_list(message.get());
            break;
        case G_DBUS_MESSAGE_TYPE_ERROR:
            if (incoming)
                answers(message.get());
            break;
        case G_DBUS_MESSAGE_TYPE_SIGNAL:
            if (incoming && !is_sound_signal(message.get()))
                return nullptr;
            break;
        default:
            break;
        }
        return message;
    }

  private:
    /* Whether it is the answer to a list that was asked for, the first one. */
    bool answers(GDBusMessage *reply)
    {
        return !asked_.empty() && asked_.erase(g_dbus_message_get_reply_serial(reply)) != 0;
    }

    std::set<guint32> asked_; /* the serials of calls */
};

GDBusMessage *
pass_cb(GDBusConnection *, GDBusMessage *message, gboolean incoming, gpointer guard)
{
    return static_cast<ObjectManagerGuard *>(guard)
        ->pass(MessagePtr(message), incoming != FALSE)
        .release();
}

void
free_guard(gpointer guard)
{
    delete static_cast<ObjectManagerGuard *>(guard);
}

} // namespace

void
zolv::guard_object_managers(GDBusConnection *connection)
{
    g_dbus_connection_add_filter(connection, pass_cb, new ObjectManagerGuard, free_guard);
}
