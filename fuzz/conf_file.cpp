// SPDX-License-Identifier: MIT
// Reads a configuration file, and loads it into variables of every type.
#include "conf/IfConfParser.h"
#include "host/InterfaceConfHolder.h"
#include "host/LogClass.h"
#include "kwhost/ConfFileLoader.h"
#include "text/FileDescriptor.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace kwlookup;

class Holder : public InterfaceConfHolder {
public:
    bool MakePreInit(boost::shared_ptr<IfConfParser> parser) override {
        static const int seven = 7;
        parser->Add("lookup_x/Int", &m_int, IfConfParser::VT_INT, &seven);
        parser->Add("lookup_x/Bool", &m_bool, IfConfParser::VT_BOOL, nullptr);
        parser->Add("lookup_x/Text", &m_text, IfConfParser::VT_STRING, nullptr);
        parser->Add("lookup_x/Raw", &m_raw, IfConfParser::VT_RAW_STRING, nullptr);
        parser->Add("lookup_x/List", &m_list, IfConfParser::VT_STRING_LIST, nullptr);
        parser->Add("lookup_x/Size", &m_size, IfConfParser::VT_SIZE, nullptr);
        parser->Add("lookup_x/Times", &m_times, IfConfParser::VT_TIME_LIST, nullptr);
        return true;
    }
    void PostInit() override {}

private:
    int m_int = 0;
    bool m_bool = false;
    std::string m_text;
    std::string m_raw;
    std::vector<std::string> m_list;
    long long m_size = 0;
    std::vector<int> m_times;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const LogClass log("");
    const FileDescriptor memory(::memfd_create("conf", MFD_CLOEXEC));
    if (!memory || ::fchmod(memory.Get(), 0600) != 0 ||
        ::write(memory.Get(), data, size) != static_cast<ssize_t>(size))
        std::abort();
    try {
        ConfFile file("/proc/self/fd/" + std::to_string(memory.Get()));
        for (const auto& [name, section] : file.GetSections())
            for (const ConfFile::Setting& setting : section.settings)
                if (setting.line == 0 || name.find('\0') != std::string::npos)
                    std::abort();
        ConfFileLoader loader;
        loader.SetFile(std::move(file));
        Holder holder;
        loader.LoadSection(0, "lookup_x", 0, "", 0, &holder, log);
    } catch (const std::runtime_error&) {
        std::abort(); // the file can be read and is ours
    }
    return 0;
}
