#include "peripherals/buzzer/zolv-buzzer-pcspkr.h"

#include "core/zolv-assert.h"
#include "core/zolv-class.h"
#include "core/zolv-fail.h"
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
    explicit _ZolvBuzzerPcspkrPrivate(ZolvBuzzerPcspkr *owner) : self(owner) {}
    _ZolvBuzzerPcspkrPrivate(const _ZolvBuzzerPcspkrPrivate &) = delete;
    _ZolvBuzzerPcspkrPrivate &operator=(const _ZolvBuzzerPcspkrPrivate &) = delete;
    ~_ZolvBuzzerPcspkrPrivate() { silence(); }

    bool set_state(guint wanted, GError **error);
    void silence();

    ZolvBuzzerPcspkr *self; /* not owned */
    std::string devfile;    /* empty: there is no device */
    guint frequency_hz = 440;
    std::atomic<guint> state = 0;
};

bool
_ZolvBuzzerPcspkrPrivate::set_state(guint wanted, GError **error)
{
    if (!zolv::check_buzzer_state(wanted, error))
        return false;

    const zolv::UniqueFd device(open(devfile.c_str(), open_flags, new_file_mode));
    if (!device)
        return zolv::failf(error, ZOLV_CORE_ERROR_PERIPH_NOT_AVAIL, "Cannot open %s",
                           zolv::fit_text(devfile).c_str());
    input_event tone = {};
    static_assert(sizeof tone == 24);
    tone.type = EV_SND;
    tone.code = SND_TONE;
    tone.value = wanted == 1 ? static_cast<int>(frequency_hz) : 0;
    /* The state counts as set whether or not the device takes the tone. */
    [[maybe_unused]] const ssize_t n_written = write(device.get(), &tone, sizeof tone);
    state = wanted;
    return true;
}

void
_ZolvBuzzerPcspkrPrivate::silence()
{
    g_autoptr(GError) error = nullptr;

    if (!devfile.empty() && !set_state(0, &error))
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN, "failed to turn off buzzer %s", error->message);
}

static gboolean
buzzer_pcspkr_set_state(ZolvBuzzer *buzzer, guint state, GError **error)
{
    return ZOLV_BUZZER_PCSPKR(buzzer)->priv->set_state(state, error);
}

static gboolean
buzzer_pcspkr_get_state(ZolvBuzzer *buzzer, guint *state, GError **)
{
    *state = ZOLV_BUZZER_PCSPKR(buzzer)->priv->state;
    return TRUE;
}

ZOLV_DEFINE_CLASS(ZolvBuzzerPcspkr, zolv_buzzer_pcspkr, ZOLV_TYPE_BUZZER)
{
    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "Buzzer");
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
    if (!self->priv->set_state(0, &error)) {
        _tvl_log(TVL_LOG_WARN, "[Buzzer Pcspkr] Failed to disable beep: %s", error->message);
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN, "Definition: %s", error->message);
        return;
    }
    ZOLV_BUZZER_GET_CLASS(self)->export_obj(buzzer);
}

void
zolv_buzzer_pcspkr_remove(ZolvBuzzerPcspkr *self)
{
    ZOLV_ASSERT(ZOLV_IS_BUZZER_PCSPKR(self));

    self->priv->silence();
    self->priv->devfile.clear();
    ZOLV_BUZZER_GET_CLASS(self)->unexport_obj(ZOLV_BUZZER(self));
}
