#include "peripherals/buzzer/zolv-buzzer-pcspkr.h"

#include "core/zolv-assert.h"
#include "core/zolv-obj-log.h"
#include "core/zolv-raii.h"
#include "core/zolv-text.h"
#include "peripherals/buzzer/zolv-buzzer-state.h"

#include <atomic>
#include <fcntl.h>
#include <linux/input.h>
#include <string>

namespace {

/* Not blocking, since any other kind of file may lie where the device node should be, even a pipe
 * that nobody reads. */
constexpr int open_flags = O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
constexpr mode_t new_file_mode = 0666;

} // namespace

struct _ZolvBuzzerPcspkrPrivate {
    std::string devfile; /* empty: there is no device */
    guint frequency_hz = 440;
    std::atomic<guint> state = 0;
};

G_DEFINE_TYPE(ZolvBuzzerPcspkr, zolv_buzzer_pcspkr, ZOLV_TYPE_BUZZER)

static gboolean
buzzer_pcspkr_set_state(ZolvBuzzer *buzzer, guint state, GError **error)
{
    ZolvBuzzerPcspkrPrivate *priv = ZOLV_BUZZER_PCSPKR(buzzer)->priv;

    if (!zolv::check_buzzer_state(state, error))
        return FALSE;

    const zolv::UniqueFd device(open(priv->devfile.c_str(), open_flags, new_file_mode));
    if (!device) {
        g_set_error(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_PERIPH_NOT_AVAIL, "Cannot open %s",
                    zolv::fit_text(priv->devfile).c_str());
        return FALSE;
    }
    input_event tone = {};
    static_assert(sizeof tone == 24);
    tone.type = EV_SND;
    tone.code = SND_TONE;
    tone.value = state == 1 ? static_cast<int>(priv->frequency_hz) : 0;
    /* The state counts as set whether or not the device takes the tone. */
    [[maybe_unused]] const ssize_t n_written = write(device.get(), &tone, sizeof tone);
    priv->state = state;
    return TRUE;
}

static gboolean
buzzer_pcspkr_get_state(ZolvBuzzer *buzzer, guint *state, GError **)
{
    *state = ZOLV_BUZZER_PCSPKR(buzzer)->priv->state;
    return TRUE;
}

static void
silence(ZolvBuzzerPcspkr *self)
{
    g_autoptr(GError) error = nullptr;

    if (!self->priv->devfile.empty() && !buzzer_pcspkr_set_state(ZOLV_BUZZER(self), 0, &error))
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN, "failed to turn off buzzer %s", error->message);
}

static void
zolv_buzzer_pcspkr_init(ZolvBuzzerPcspkr *self)
{
    self->priv = new ZolvBuzzerPcspkrPrivate;
}

static void
zolv_buzzer_pcspkr_finalize(GObject *object)
{
    silence(ZOLV_BUZZER_PCSPKR(object));
    delete ZOLV_BUZZER_PCSPKR(object)->priv;
    G_OBJECT_CLASS(zolv_buzzer_pcspkr_parent_class)->finalize(object);
}

static void
zolv_buzzer_pcspkr_class_init(ZolvBuzzerPcspkrClass *klass)
{
    G_OBJECT_CLASS(klass)->finalize = zolv_buzzer_pcspkr_finalize;
    ZOLV_BUZZER_CLASS(klass)->set_state = buzzer_pcspkr_set_state;
    ZOLV_BUZZER_CLASS(klass)->get_state = buzzer_pcspkr_get_state;
}

void
zolv_buzzer_pcspkr_define(ZolvBuzzerPcspkr *self, const char *devfile)
{
    ZOLV_ASSERT(ZOLV_IS_BUZZER_PCSPKR(self));
    ZOLV_ASSERT(devfile != NULL);
    ZolvBuzzer *buzzer = ZOLV_BUZZER(self);
    g_autoptr(GError) error = nullptr;

    self->priv->devfile = devfile;
    ZOLV_BUZZER_GET_CLASS(self)->set_device_type(buzzer, ZOLV_BUZZER_DEVICE_TYPE_PCSPKR);
    if (!buzzer_pcspkr_set_state(buzzer, 0, &error)) {
        _tvl_log(TVL_LOG_WARN, "[Buzzer Pcspkr] Failed to disable beep: %s", error->message);
        return;
    }
    ZOLV_BUZZER_GET_CLASS(self)->export_obj(buzzer);
}

void
zolv_buzzer_pcspkr_remove(ZolvBuzzerPcspkr *self)
{
    ZOLV_ASSERT(ZOLV_IS_BUZZER_PCSPKR(self));

    silence(self);
    self->priv->devfile.clear();
    ZOLV_BUZZER_GET_CLASS(self)->unexport_obj(ZOLV_BUZZER(self));
}
