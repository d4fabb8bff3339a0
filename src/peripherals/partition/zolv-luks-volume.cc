#include "peripherals/partition/zolv-luks-volume.h"

#include "core/zolv-fail.h"
#include "core/zolv-obj-log.h"
#include "core/zolv-raii.h"
#include "helpers/zolv-helpers-luks-key.h"
#include "peripherals/partition/zolv-cryptsetup.h"

#include <cstring>
#include <functional>
#include <initializer_list>

#define MAPPER_FOLDER "/dev/mapper/"

#define CIPHER "aes"
#define CIPHER_MODE "xts-plain64"

namespace {

constexpr std::size_t volume_key_size = 64; /* two keys of AES-256 */

struct WipeAndFree {
    void operator()(char *secret) const
    {
        explicit_bzero(secret, strlen(secret));
        g_free(secret);
    }
};
using SecretPtr = std::unique_ptr<char, WipeAndFree>;

/* One use of libcryptsetup. */
class Session {
  public:
    explicit Session(ZolvObj *owner)
    {
        g_autoptr(GError) error = nullptr;

        library_ = zolv::Cryptsetup::get(&error);
        if (library_ == nullptr)
            zolv_obj_log(owner, TVL_LOG_ERROR, "%s", error->message);
    }
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;
    ~Session()
    {
        if (device_ != nullptr)
            library_->crypt_free(device_);
    }

    bool init(const zolv::DeviceNode &device)
    {
        held_ = device.hold();
        return library_ != nullptr && held_ &&
               library_->crypt_init(&device_, device.path().c_str()) == 0;
    }
    bool init_by_name(const std::string &name)
    {
        return library_ != nullptr && library_->crypt_init_by_name(&device_, name.c_str()) == 0;
    }
    bool format()
    {
        return library_->crypt_format(device_, CRYPT_LUKS2, CIPHER, CIPHER_MODE, nullptr, nullptr,
                                      volume_key_size, nullptr) == 0;
    }
    bool add_key_slot(const char *passphrase)
    {
        return library_->crypt_keyslot_add_by_volume_key(device_, CRYPT_ANY_SLOT, nullptr, 0,
                                                         passphrase, strlen(passphrase)) >= 0;
    }
    bool load() { return library_->crypt_load(device_, CRYPT_LUKS, nullptr) == 0; }
    const char *uuid() { return library_->crypt_get_uuid(device_); }
    const char *device_name() { return library_->crypt_get_device_name(device_); }
    crypt_status_info status(const std::string &name)
    {
        return library_->crypt_status(device_, name.c_str());
    }
    bool activate(const std::string &name, const char *passphrase)
    {
        return library_->crypt_activate_by_passphrase(device_, name.c_str(), CRYPT_ANY_SLOT,
                                                      passphrase, strlen(passphrase), 0) >= 0;
    }
    bool deactivate(const std::string &name)
    {
        return library_->crypt_deactivate(device_, name.c_str()) == 0;
    }

  private:
    const zolv::Cryptsetup *library_ = nullptr;
    crypt_device *device_ = nullptr;
    zolv::UniqueFd held_; /* keeps the name from becoming another device's */
};

struct Step {
    const char *failure;
    std::function<bool()> done;
};

bool
run(std::initializer_list<Step> steps, GError **error)
{
    for (const Step &step : steps)
        if (!step.done())
            return zolv::fail(error, ZOLV_CORE_ERROR_EXTERNAL_LIB, step.failure);
    return true;
}

/* How the key store does is for its log lines to tell. */
bool
store_key(Session &session, const char *passphrase)
{
    zolv_helper_luks_set_key(session.uuid(), passphrase);
    return true;
}

SecretPtr
stored_key(Session &session)
{
    char *key = nullptr;

    return SecretPtr(zolv_helper_luks_get_key(session.uuid(), &key) ? key : nullptr);
}

} // namespace

void
zolv::LuksVolume::define_mapper_name(std::string name)
{
    mapper_name_ = std::move(name);
    mapper_path_ = MAPPER_FOLDER + mapper_name_;
}

bool
zolv::LuksVolume::format(const char *passphrase, GError **error) const
{
    Session session(owner_);

    if (!run({{"LUKS initialization process failed: cannot initialize LUKS",
               [&] { return session.init(device_); }},
              {"LUKS initialization process failed: cannot format partition with LUKS",
               [&] { return session.format(); }},
              {"LUKS initialization process failed: cannot add keyslot",
               [&] { return session.add_key_slot(passphrase); }},
              {"", [&] { return store_key(session, passphrase); }}},
             error))
        return false;
    zolv_obj_log(owner_, TVL_LOG_INFO, "LUKS initialization process OK");
    return true;
}

bool
zolv::LuksVolume::open(GError **error)
{
    Session session(owner_);

    if (!run(
            {{"LUKS open process failed: cannot initialize LUKS",
              [&] { return session.init(device_); }},
             {"LUKS open process failed: cannot load LUKS header", [&] { return session.load(); }}},
            error))
        return false;
    if (const crypt_status_info status = session.status(mapper_name_);
        status == CRYPT_ACTIVE || status == CRYPT_BUSY)
        return true;

    const SecretPtr key = stored_key(session);
    if (key == nullptr)
        return fail(error, ZOLV_CORE_ERROR_FAILED,
                    "LUKS open process failed: cannot get passphrase from config");
    if (!run({{"LUKS open process failed: cannot activate LUKS",
               [&] { return session.activate(mapper_name_, key.get()); }}},
             error))
        return false;
    opened_ = true;
    zolv_obj_log(owner_, TVL_LOG_INFO, "LUKS open process OK");
    return true;
}

bool
zolv::LuksVolume::close(GError **error)
{
    Session session(owner_);

    if (!run({{"LUKS close process failed: cannot initialize LUKS",
               [&] { return session.init_by_name(mapper_name_); }}},
             error))
        return false;
    if (session.status(mapper_name_) == CRYPT_INACTIVE) {
        opened_ = false;
        return true;
    }
    if (!run({{"LUKS close process failed: cannot deactivate LUKS",
               [&] { return session.deactivate(mapper_name_); }}},
             error))
        return false;
    opened_ = false;
    zolv_obj_log(owner_, TVL_LOG_INFO, "LUKS close process OK");
    return true;
}

bool
zolv::LuksVolume::change_key(const char *passphrase, GError **error) const
{
    Session session(owner_);

    if (!run({{"LUKS changekey process failed: cannot initialize LUKS",
               [&] { return session.init(device_); }},
              {"LUKS changekey process failed: cannot load LUKS header",
               [&] { return session.load(); }},
              {"LUKS changekey process failed: cannot activate LUKS",
               [&] { return session.activate(mapper_name_, passphrase); }},
              {"", [&] { return store_key(session, passphrase); }},
              {"LUKS changekey process failed: cannot deactivate LUKS",
               [&] { return session.deactivate(mapper_name_); }}},
             error))
        return false;
    zolv_obj_log(owner_, TVL_LOG_INFO, "LUKS changekey process OK");
    return true;
}

bool
zolv::LuksVolume::is_mapped() const
{
    Session session(owner_);

    return session.init_by_name(mapper_name_) && session.device_name() != nullptr &&
           device_.is_at(session.device_name());
}
