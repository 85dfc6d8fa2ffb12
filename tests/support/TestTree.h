#pragma once
// A throw-away folder tree per test, plus an environment that points HOME and the XDG variables
// into it, so no test ever touches the real home, Trash or preferences.
#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace velmora::test {

class TestTree {
  public:
    TestTree();   ///< creates a fresh directory under $TMPDIR (or /tmp)
    ~TestTree();  ///< removes it, making unreadable folders readable first
    TestTree(const TestTree&) = delete;
    TestTree& operator=(const TestTree&) = delete;

    const std::string& root() const { return root_; }
    std::string path(const std::string& relative) const;

    /// Creates parent folders as needed; `size` bytes of 'x'. Returns the absolute path.
    std::string file(const std::string& relative, size_t size = 1);
    std::string dir(const std::string& relative);
    std::string symlink(const std::string& relative, const std::string& target);
    /// Sets access and modification time to `unixSeconds` (no link following).
    void setMtime(const std::string& relative, double unixSeconds);
    /// Sets every item below and including `relative` to `unixSeconds`.
    void setMtimeRecursive(const std::string& relative, double unixSeconds);
    void chmod(const std::string& relative, mode_t mode);

  private:
    std::string root_;
};

/// Unix seconds now.
double unixNow();

/// Runs `check` where file permissions apply. As root (who ignores them) the tree is handed to
/// the unprivileged "nobody" user and `check` runs in a forked child under that user; its
/// result comes back as the child's exit status. Otherwise `check` simply runs here.
bool runWithoutPrivileges(const TestTree& tree, const std::function<bool()>& check);

/// Sets HOME, XDG_DATA_HOME, XDG_CONFIG_HOME, XDG_CACHE_HOME for the lifetime of the object and
/// restores the previous values afterwards.
class ScopedHome {
  public:
    explicit ScopedHome(const std::string& home);
    ~ScopedHome();

  private:
    std::vector<std::pair<std::string, std::string>> saved_;
    std::vector<std::string> unset_;
};

}  // namespace velmora::test
