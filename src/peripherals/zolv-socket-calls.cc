#include "peripherals/zolv-socket-calls.h"

#include "core/zolv-bus-call.h"

namespace {

/* A module that nobody has put into a socket; of this the log does not tell. */
bool
check_bound(ZolvSocket *socket, zolv::BusCall &call)
{
    return socket != nullptr ||
           call.refuse(0, ZOLV_CORE_ERROR_NOT_SUPPORT, "Operation not supported");
}

const char *
word(gboolean on)
{
    return on ? "true" : "false";
}

} // namespace

gboolean
zolv::SocketCalls::set_power(gpointer, GDBusMethodInvocation *invocation, gboolean on,
                             SocketCalls *self)
{
    BusCall call(self->owner_, invocation, BusCall::Levels::info, "SetPower(%s)", word(on));

    if (check_bound(self->socket_, call) && zolv_socket_set_power(self->socket_, on, call.error()))
        g_dbus_method_invocation_return_value(call.ok(), nullptr);
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

gboolean
zolv::SocketCalls::get_power(gpointer, GDBusMethodInvocation *invocation, SocketCalls *self)
{
    BusCall call(self->owner_, invocation, BusCall::Levels::info, "GetPower()");
    gboolean on = FALSE;

    if (check_bound(self->socket_, call) && zolv_socket_get_power(self->socket_, &on, call.error()))
        g_dbus_method_invocation_return_value(call.ok(", power=%s", word(on)),
                                              g_variant_new("(b)", on));
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

/* The result lines have always had the other name; who reads logs looks for it. */
gboolean
zolv::SocketCalls::set_sim_slot(gpointer, GDBusMethodInvocation *invocation, guint slot,
                                SocketCalls *self)
{
    BusCall call(self->owner_, invocation, BusCall::Levels::debug, "SetSimSlot(%d)",
                 static_cast<int>(slot));

    call.result_name("SetState(%d)", static_cast<int>(slot));
    if (check_bound(self->socket_, call) &&
        zolv_socket_set_sim_slot(self->socket_, slot, call.error()))
        g_dbus_method_invocation_return_value(call.ok(), nullptr);
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

gboolean
zolv::SocketCalls::get_sim_slot(gpointer, GDBusMethodInvocation *invocation, SocketCalls *self)
{
    BusCall call(self->owner_, invocation, BusCall::Levels::debug, "GetSimSlot()");
    guint slot = 0;

    if (check_bound(self->socket_, call) &&
        zolv_socket_get_sim_slot(self->socket_, &slot, call.error()))
        g_dbus_method_invocation_return_value(call.ok(", slot=%d", static_cast<int>(slot)),
                                              g_variant_new("(u)", slot));
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

zolv::SocketCalls::SocketCalls(ZolvObj *owner, gpointer skeleton) : owner_(owner)
{
    const Handler handlers[] = {
        {"handle-set-power", G_CALLBACK(set_power)},
        {"handle-get-power", G_CALLBACK(get_power)},
        {"handle-set-sim-slot", G_CALLBACK(set_sim_slot)},
        {"handle-get-sim-slot", G_CALLBACK(get_sim_slot)},
    };

    for (const Handler &handler : handlers) {
        if (g_signal_lookup(handler.signal, G_OBJECT_TYPE(skeleton)) == 0)
            continue;
        GClosure *closure = g_cclosure_new(handler.callback, this, nullptr);
        /* A call in flight keeps the skeleton alive longer than the owner. */
        g_object_watch_closure(G_OBJECT(owner), closure);
        g_signal_connect_closure(skeleton, handler.signal, closure, FALSE);
    }
}
