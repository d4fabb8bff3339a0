#pragma once

#include <glib.h>
#include <string>
#include <string_view>

namespace zolv {

/*
 * A folder for one file, in the system's folder for temporary files, where a fixed name would be
 * everybody's to take. So a symbolic link of a fixed name in a directory of the daemon's own tells,
 * as long as the folder is there, where it is, and the next start finds what a kill has left.
 */
class TemporaryFolder {
  public:
    static constexpr char mark_name[] = ".perimond-temporary";

    /* @directory: where the link lies. */
    explicit TemporaryFolder(std::string_view directory);

    /* Makes the folder, for the daemon alone. @base_name is that of the file to come. The error is
     * a GFileError. */
    bool make(std::string_view base_name, GError **error);
    /* The file, which nobody has written yet. */
    const std::string &file() const { return file_; }
    /* Removes the file and the folder; errno on failure. */
    bool remove() const;

    /* Removes what the last process left. */
    static void sweep(std::string_view directory);

  private:
    bool try_name(std::string_view base_name, bool *taken);

    std::string mark_;
    std::string folder_;
    std::string file_;
};

} // namespace zolv
