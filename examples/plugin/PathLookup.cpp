// SPDX-License-Identifier: MIT
#include "PathLookup.h"

#include "host/LogText.h"

#include <cerrno>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>

namespace {

/// The type-wide configuration for the lookups made from now on. The library makes and configures
/// lookups under one lock of its own.
std::shared_ptr<PathConfig>& Current() {
    static std::shared_ptr<PathConfig> current;
    return current;
}

/// Puts a piece of the searched text into the path. An address is a stranger's text: it must not
/// lead to another directory.
void AppendName(const char* begin, const char* end, std::string& out, int flags) {
    std::string piece;
    KwLookupWithConfig::AssignValue(begin, end, piece, flags);
    const bool no_name = piece.empty() || piece == "." || piece == "..";
    if (no_name || piece.find('/') != std::string::npos || piece.find('\0') != std::string::npos)
        throw std::invalid_argument("this text names no file");
    out += piece;
}

} // namespace

PathLookup::PathLookup(const LogClass& log)
    : KwLookupWithConfig(Current().get()), m_log(&log), m_type_conf(Current()) {}

void PathLookup::InitLog(const LogClass& log) {
    m_log = &log;
}

const LogClass* PathLookup::GetLogPtr() const {
    return m_log;
}

// Each load fills a configuration of its own, which counts once it is good.
bool PathLookup::MakePreInit(boost::shared_ptr<IfConfParser> parser) {
    m_loading = std::make_shared<PathConfig>(nullptr);
    m_loading->SetLog(*m_log);
    return m_loading->MakePreInit(parser);
}

void PathLookup::PostInit() {
    m_loading->PostInit();
    m_type_conf = Current() = m_loading;
    m_conf = m_type_conf.get();
}

KwLookupSharedConf* PathLookup::CreateLocalConf() {
    return new PathConfig(m_type_conf.get());
}

// "path:Result=local|/var/mail/$d/$u": the settings go to a configuration of this lookup alone.
void PathLookup::Init(const std::string& init_data) {
    m_template = ParseInitData(init_data);
}

std::string PathLookup::GetDescription() const {
    return m_template;
}

bool PathLookup::Find(const KwLookupFinder& finder, std::string* res, int flags,
                      std::string* matched) const {
    try {
        if (CheckSkipDomains(finder, flags))
            return false;
        const std::string path = ExpandFilter(m_template.c_str(), finder, flags, AppendName);
        if (!Exists(path))
            return false;
        if (res)
            *res = m_conf->GetVal<std::string>("Result");
        if (matched)
            *matched = path;
        return true;
    } catch (const std::exception& error) {
        if (m_conf->GetOnError())
            throw;
        if (m_log->isErrorEnabled())
            LogText(*m_log, log4cxx::Level::LEVEL_ERROR,
                    std::string("lookup_path: ") + error.what());
        return false;
    }
}

/// "Not there" is an answer; everything else that goes wrong is an error.
bool PathLookup::Exists(const std::string& path) const {
    struct stat status;
    if (::stat(path.c_str(), &status) == 0)
        return true;
    if (errno != ENOENT && errno != ENOTDIR)
        throw std::system_error(errno, std::generic_category(), path);
    return false;
}

/// What the library calls. The only name that the plug-in shows.
extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
    return new PathLookup(log);
}
