#pragma once

#include "core/zolv-bus-call.h"
#include "helpers/zolv-setting.h"

namespace zolv {

/* How a call is refused, before anything is switched. */
struct SwitchRefusal {
    int level; /* of the line about it */
    ZolvCoreError code;
    const char *text;
};

/* What differs among the switches of the classes that have one. */
struct SwitchRules {
    const char *key;        /* of the setting */
    const char *property;   /* of the skeleton */
    const char *name;       /* for people */
    SwitchRefusal disabled; /* the interface is switched off */
    SwitchRefusal absent;   /* there is no such switch */
};

/*
 * The bus terminator or the resistors of an interface: on or off, kept across restarts, published
 * with the interface. What the switch drives is the owner's business.
 *
 * A member of the owner's private data, behind the skeleton.
 */
class StoredSwitch {
  public:
    enum State : guint { not_applicable = 0, off = 1, on = 2 };

    /* All are borrowed; the rules are data that stays. */
    StoredSwitch(ZolvObj *owner, gpointer skeleton, const SwitchRules &rules)
        : owner_(owner), skeleton_(skeleton), rules_(rules), setting_(owner, rules.key)
    {
    }
    StoredSwitch(const StoredSwitch &) = delete;
    StoredSwitch &operator=(const StoredSwitch &) = delete;
    ~StoredSwitch() = default;

    /* Publishes what is stored, or off at the first use, which is stored then. Returns whether it
     * is on. */
    bool define();
    guint published() const;
    /* Any number is published as it stands; 0 says that there is no such switch. */
    void publish(guint state);
    /* Whether a call may switch it: one on a @disabled interface may not, nor one without a switch,
     * in this order. */
    bool allows(BusCall &call, bool disabled) const;
    /* Every state but 2 is stored as off. */
    void store(guint state);

  private:
    ZolvObj *owner_;
    gpointer skeleton_;
    const SwitchRules &rules_;
    Setting<bool> setting_;
};

} // namespace zolv
