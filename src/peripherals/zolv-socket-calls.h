#pragma once

#include "peripherals/socket/zolv-socket.h"

namespace zolv {

/*
 * The methods for power and SIM slot, which are the same for a socket and for the module in it:
 * SetPower, GetPower and, where the interface has them, SetSimSlot and GetSimSlot. All of them are
 * the socket's operations; the log has the id of the object that was called.
 *
 * A member of the owner's private data, behind the skeleton.
 */
class SocketCalls {
  public:
    /* Connects the handlers, for as long as the owner lives; both are borrowed. */
    SocketCalls(ZolvObj *owner, gpointer skeleton);
    SocketCalls(const SocketCalls &) = delete;
    SocketCalls &operator=(const SocketCalls &) = delete;
    ~SocketCalls() = default;

    /* Borrowed: a socket lives as long as the module in it. Without one, calls are refused. */
    void bind(ZolvSocket *socket) { socket_ = socket; }
    ZolvSocket *socket() const { return socket_; }

  private:
    static gboolean set_power(gpointer, GDBusMethodInvocation *, gboolean on, SocketCalls *self);
    static gboolean get_power(gpointer, GDBusMethodInvocation *, SocketCalls *self);
    static gboolean set_sim_slot(gpointer, GDBusMethodInvocation *, guint slot, SocketCalls *self);
    static gboolean get_sim_slot(gpointer, GDBusMethodInvocation *, SocketCalls *self);

    ZolvObj *owner_;
    ZolvSocket *socket_ = nullptr;
};

} // namespace zolv
