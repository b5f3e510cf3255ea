// SPDX-License-Identifier: MIT
// "path:TEMPLATE" matches when the file that the template names exists. With path:/var/mail/$d/$u,
// the address jdoe@corp.lan is found when /var/mail/corp.lan/jdoe exists.
#include "lookup/PluginVersion.h"
#include "lookup/config/Parameter.h"
#include "lookup/config/PluginLookup.h"

#include <cerrno>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <system_error>

namespace {

/// The parameters of the type, besides OnError and SkipDomains, which every type has.
class PathConfig : public kwlookup::TypeConfig {
public:
    static constexpr char NAME[] = "lookup_path";

    explicit PathConfig(const PathConfig* global) : TypeConfig(NAME, global) {}

    /// The result of a match.
    const std::string& GetResult() const { return m_result.Get(); }

private:
    kwlookup::Parameter<std::string> m_result{*this, "Result"};
};

/// Appends a part of the searched text to the path. The text is untrusted and must not lead to
/// another directory.
void AppendName(const char* begin, const char* end, std::string& out, int flags) {
    std::string piece;
    KwLookupWithConfig::AssignValue(begin, end, piece, flags);
    const bool no_name = piece.empty() || piece == "." || piece == "..";
    if (no_name || piece.find('/') != std::string::npos || piece.find('\0') != std::string::npos)
        throw std::invalid_argument("this text names no file");
    out += piece;
}

/// A missing file is an answer. Any other failure is an error.
bool Exists(const std::string& path) {
    struct stat status;
    if (::stat(path.c_str(), &status) == 0)
        return true;
    if (errno != ENOENT && errno != ENOTDIR)
        throw std::system_error(errno, std::generic_category(), path);
    return false;
}

class PathLookup : public kwlookup::PluginLookup<PathConfig> {
public:
    using PluginLookup::PluginLookup;

    std::string GetDescription() const override { return m_template; }

protected:
    void Load(const std::string& text) override { m_template = text; }

    bool Search(const KwLookupFinder& finder, int flags, std::string* res,
                std::string* matched) const override {
        const std::string path = ExpandFilter(m_template.c_str(), finder, flags, AppendName);
        if (!Exists(path))
            return false;
        if (res)
            *res = GetConfig().GetResult();
        if (matched)
            *matched = path;
        return true;
    }

private:
    std::string m_template;
};

} // namespace

/// The library of another major version refuses the plug-in.
extern "C" KW_EXPORT const int LookupVersion = kwlookup::MAJOR_VERSION;

/// The library calls it.
extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
    return new PathLookup(log);
}
