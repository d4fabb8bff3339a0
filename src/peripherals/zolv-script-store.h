#pragma once

#include "core/zolv-raii.h"
#include "zolv-error.h"

#include <map>
#include <span>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace zolv {

class ScriptStore;

/* A file that is to be installed. It is opened once, without a side effect on what it is and
 * without blocking; what is copied later is the file that was checked. */
class ScriptSource {
  public:
    explicit ScriptSource(const char *path);

    bool missing() const;
    bool unreadable() const { return error_ != 0; }
    bool regular() const;
    off_t size() const { return size_; }
    const std::string &path() const { return path_; }
    const std::string &base_name() const { return base_name_; }
    /* The content; no descriptor with errno on failure. */
    UniqueFd open_content() const;

  private:
    std::string path_;
    std::string base_name_;
    UniqueFd fd_;
    int error_ = 0;
    mode_t mode_ = 0;
    off_t size_ = 0;
};

/* What somebody asks of a store; @source is null unless a script is added. */
struct ScriptRequest {
    const ScriptStore &store;
    std::string name;
    const ScriptSource *source = nullptr;
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
/* Also where the link's place is taken, or the script would take it. */
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
 */
class ScriptStore {
  public:
    static constexpr std::size_t max_name_length = 31;

    struct Link {
        std::string name;
        std::string target; /* as stored */
    };

    explicit ScriptStore(const ScriptKind &kind);

    std::string script_path(std::string_view base_name) const;
    std::string link_path(std::string_view name) const;
    bool exists(std::string_view name) const;

    /* Installs the script at @path under @name, for nobody yet. On success all of it is on the
     * disk. */
    bool add(const char *name, const char *path, GError **error);
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

    Registration &enter(std::string_view name);
    const Registration *find(std::string_view name) const;

    const ScriptKind &kind_;
    std::map<std::string, Registration, std::less<>> registry_;
};

} // namespace zolv
