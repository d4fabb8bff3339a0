#include "guard/zolv-guard-streams.h"

#include "core/zolv-raii.h"
#include "guard/zolv-guard.h"

#include <cerrno>
#include <glib-unix.h>
#include <memory>

/* Two streams of GIO over one guard. GIO lets a stream have one operation under way, so that its
 * arguments can stand in the stream. */

namespace {

struct GuardedSocket {
    explicit GuardedSocket(GSocketConnection *connection)
        : bus(G_SOCKET_CONNECTION(g_object_ref(connection))),
          guard(g_socket_get_fd(g_socket_connection_get_socket(connection)))
    {
    }

    zolv::ObjectPtr<GSocketConnection> bus; /* keeps the descriptor open */
    zolv::Guard guard;
    GSource *reading = nullptr; /* waits for the bus; the context keeps it */
};

using SocketPtr = std::shared_ptr<GuardedSocket>;

/* Ends the task when there is a result, where GIO may begin the next one at once; else has @go_on
 * called when the socket is ready, by the source that it returns. */
GSource *
finish(GTask *task, gssize result, const SocketPtr &socket, GIOCondition awaited,
       GUnixFDSourceFunc go_on)
{
    if (result < 0 && errno == EAGAIN) {
        GSource *ready = g_unix_fd_source_new(socket->guard.fd, awaited);
        g_source_set_priority(ready, g_task_get_priority(task));
        g_source_set_callback(ready, G_SOURCE_FUNC(go_on), task, nullptr);
        g_source_attach(ready, g_task_get_context(task));
        g_source_unref(ready);
        return ready;
    }
    if (result < 0)
        g_task_return_new_error(task, G_IO_ERROR, g_io_error_from_errno(errno), "%s",
                                g_strerror(errno));
    else
        g_task_return_int(task, result);
    g_object_unref(task);
    return nullptr;
}

GTask *
new_task(gpointer stream, int priority, GCancellable *cancellable, GAsyncReadyCallback callback,
         gpointer data)
{
    GTask *task = g_task_new(stream, cancellable, callback, data);

    g_task_set_priority(task, priority);
    return task;
}

} // namespace

struct ZolvGuardInput {
    GInputStream parent_instance;
    SocketPtr *socket;
    std::uint8_t *data;
    gsize size;
};
struct ZolvGuardInputClass {
    GInputStreamClass parent_class;
};
static GType zolv_guard_input_get_type();
G_DEFINE_TYPE(ZolvGuardInput, zolv_guard_input, G_TYPE_INPUT_STREAM)

static gboolean
read_on(gint, GIOCondition, gpointer data)
{
    auto *task = static_cast<GTask *>(data);
    auto *self = static_cast<ZolvGuardInput *>(g_task_get_source_object(task));
    const SocketPtr socket = *self->socket;
    zolv::Guard &guard = socket->guard;
    const gssize result = guard.inlet.read(self->data, self->size);
    const auto awaited =
        guard.outlet.has_rest() ? static_cast<GIOCondition>(G_IO_IN | G_IO_OUT) : G_IO_IN;

    socket->reading = nullptr;
    if (GSource *reading = finish(task, result, socket, awaited, read_on); reading != nullptr)
        socket->reading = reading;
    return G_SOURCE_REMOVE;
}

static void
zolv_guard_input_read_async(GInputStream *stream, void *data, gsize size, int priority,
                            GCancellable *cancellable, GAsyncReadyCallback callback,
                            gpointer user_data)
{
    auto *self = reinterpret_cast<ZolvGuardInput *>(stream);

    self->data = static_cast<std::uint8_t *>(data);
    self->size = size;
    read_on(-1, G_IO_IN, new_task(stream, priority, cancellable, callback, user_data));
}

static gssize
zolv_guard_input_read_finish(GInputStream *, GAsyncResult *result, GError **error)
{
    return g_task_propagate_int(G_TASK(result), error);
}

static void
zolv_guard_input_init(ZolvGuardInput *self)
{
    self->socket = new SocketPtr;
}

static void
zolv_guard_input_finalize(GObject *object)
{
    delete reinterpret_cast<ZolvGuardInput *>(object)->socket;
    G_OBJECT_CLASS(zolv_guard_input_parent_class)->finalize(object);
}

static void
zolv_guard_input_class_init(ZolvGuardInputClass *klass)
{
    GInputStreamClass *stream_class = G_INPUT_STREAM_CLASS(klass);

    stream_class->read_async = zolv_guard_input_read_async;
    stream_class->read_finish = zolv_guard_input_read_finish;
    G_OBJECT_CLASS(klass)->finalize = zolv_guard_input_finalize;
}

/* Not one of GIO's socket streams: with such a one GDBus writes to a socket that it does not have.
 */
struct ZolvGuardOutput {
    GOutputStream parent_instance;
    SocketPtr *socket;
    const std::uint8_t *data;
    gsize size;
};
struct ZolvGuardOutputClass {
    GOutputStreamClass parent_class;
};
static GType zolv_guard_output_get_type();
G_DEFINE_TYPE(ZolvGuardOutput, zolv_guard_output, G_TYPE_OUTPUT_STREAM)

static gboolean
write_on(gint, GIOCondition, gpointer data)
{
    auto *task = static_cast<GTask *>(data);
    auto *self = static_cast<ZolvGuardOutput *>(g_task_get_source_object(task));
    const SocketPtr socket = *self->socket;
    const gssize result = socket->guard.outlet.write({self->data, self->size});

    finish(task, result, socket, G_IO_OUT, write_on);
    /* With an answer, a kept call has its turn, of which the socket says nothing. */
    if (socket->guard.ledger.has_turns() && socket->reading != nullptr)
        g_source_set_ready_time(socket->reading, 0);
    return G_SOURCE_REMOVE;
}

static void
zolv_guard_output_write_async(GOutputStream *stream, const void *data, gsize size, int priority,
                              GCancellable *cancellable, GAsyncReadyCallback callback,
                              gpointer user_data)
{
    auto *self = reinterpret_cast<ZolvGuardOutput *>(stream);

    self->data = static_cast<const std::uint8_t *>(data);
    self->size = size;
    write_on(-1, G_IO_OUT, new_task(stream, priority, cancellable, callback, user_data));
}

static gssize
zolv_guard_output_write_finish(GOutputStream *, GAsyncResult *result, GError **error)
{
    return g_task_propagate_int(G_TASK(result), error);
}

static void
zolv_guard_output_init(ZolvGuardOutput *self)
{
    self->socket = new SocketPtr;
}

static void
zolv_guard_output_finalize(GObject *object)
{
    delete reinterpret_cast<ZolvGuardOutput *>(object)->socket;
    G_OBJECT_CLASS(zolv_guard_output_parent_class)->finalize(object);
}

static void
zolv_guard_output_class_init(ZolvGuardOutputClass *klass)
{
    GOutputStreamClass *stream_class = G_OUTPUT_STREAM_CLASS(klass);

    stream_class->write_async = zolv_guard_output_write_async;
    stream_class->write_finish = zolv_guard_output_write_finish;
    G_OBJECT_CLASS(klass)->finalize = zolv_guard_output_finalize;
}

GIOStream *
zolv::guarded_stream_new(GSocketConnection *bus)
{
    const auto socket = std::make_shared<GuardedSocket>(bus);
    auto *input = static_cast<ZolvGuardInput *>(g_object_new(zolv_guard_input_get_type(), nullptr));
    auto *output =
        static_cast<ZolvGuardOutput *>(g_object_new(zolv_guard_output_get_type(), nullptr));

    *input->socket = socket;
    *output->socket = socket;
    GIOStream *stream = g_simple_io_stream_new(&input->parent_instance, &output->parent_instance);
    g_object_unref(input);
    g_object_unref(output);
    return stream;
}
