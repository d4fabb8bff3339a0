#pragma once

#include "peripherals/zolv-script-mark.h"
#include "peripherals/zolv-script-source.h"
#include "zolv-error.h"

#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace zolv {

class ScriptStore;

/* What somebody asks of a store; @source is null unless a script is added, and @adopted tells that
 * the script lies in its place already. */
struct ScriptRequest {
    const ScriptStore &store;
    std::string name;
    const ScriptSource *source = nullptr;
    bool adopted = false;
};

/* One reason to refuse a request, and the answer. */
struct ScriptRefusal {
    bool (*applies)(const ScriptRequest &request);
    ZolvCoreError code;
    const char *text;
};

/* The reasons that all kinds of scripts share. */
namespace script_faults {
bool source_missing(const ScriptRequest &request);
bool source_unreadable(const ScriptRequest &request);
bool source_not_regular(const ScriptRequest &request);
bool name_too_long(const ScriptRequest &request);
/* A character other than ASCII letters, digits, "-" and "_". */
bool name_malformed(const ScriptRequest &request);
bool name_reserved(const ScriptRequest &request);
bool name_taken(const ScriptRequest &request);
/* Also where the link's place is taken, or the script would take it, or has one of the names that
 * are the store's own. */
bool script_taken(const ScriptRequest &request);
bool name_unknown(const ScriptRequest &request);
bool script_in_use(const ScriptRequest &request);
} // namespace script_faults

/* What sets one kind of scripts apart from the other. */
struct ScriptKind {
    const char *directory;
    const char *suffix; /* of a link's name */
    std::span<const ScriptRefusal> add_refusals;
    const char *copy_failed;
    const char *mode_failed;
    const char *link_failed;
    std::span<const ScriptRefusal> remove_refusals;
    ZolvCoreError script_gone_code;
    const char *script_gone;
    const char *name_cut; /* warning; null where the registry takes names of any length */
};

/*
 * Named scripts in one directory. A script named N is a file there and a symbolic link to it, named
 * N and the suffix; the name exists exactly if that link does, whatever it leads to. The registry
 * knows the names that were there at the start and those added since, who selects each, and which
 * are reserved. For the main loop.
 *
 * What a kill or a loss of power cuts short the next start completes or undoes, so that a script is
 * whole and has its name, or is gone. A script is written aside, and only its final name is still
 * missing when it is given that. From then until its link is there, and while a script is removed,
 * a ScriptMark says what is under way. Scripts that somebody else has put into the directory have
 * neither, and are left alone.
 */
class ScriptStore {
  public:
    static constexpr std::size_t max_name_length = 31;

    struct Link {
        std::string name;
        std::string target; /* as stored */
    };

    /* What became of a script that was to be adopted. */
    enum class Adoption { done, failed, refused };

    explicit ScriptStore(const ScriptKind &kind);

    std::string script_path(std::string_view base_name) const;
    std::string link_path(std::string_view name) const;
    bool exists(std::string_view name) const;

    /* Installs the script at @path under @name, for nobody yet. On success all of it is on the
     * disk. */
    bool add(const char *name, const char *path, GError **error);
    /* The same for a script that lies in the directory without a name, with the copy of it at @path
     * in its place; @select, which tells of its own failure, then belongs to it: both are done, or
     * neither. The script in the directory is there and whole all the time. It is refused for what
     * any script is refused for, and fails where the copy cannot take its place. */
    Adoption adopt(const char *name, const char *path, const std::function<void()> &select,
                   GError **error);
    /* Deletes the link, then the script, wherever that lies. */
    bool remove(const char *name, GError **error);
    /* All links whose target can be read; fails only if the directory cannot be listed. */
    bool list(std::vector<Link> &links, GError **error) const;

    bool registered(std::string_view name) const;
    bool reserved(std::string_view name) const;
    bool in_use(std::string_view name) const;
    /* Adds @name where it is not registered. */
    void reserve(std::string_view name);
    /* @user selects @name, which is registered. */
    void select(std::string_view name, const char *user);
    void deselect(std::string_view name, const char *user);

  private:
    struct Registration {
        bool reserved = false;
        std::vector<std::string> users;
    };

    void settle() const;
    bool leads_to(std::string_view name, const std::string &script) const;
    bool install(const ScriptRequest &request, const ScriptMark &mark, GError **error) const;

    Registration &enter(std::string_view name);
    const Registration *find(std::string_view name) const;

    const ScriptKind &kind_;
    std::map<std::string, Registration, std::less<>> registry_;
};

} // namespace zolv
