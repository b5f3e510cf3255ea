// SPDX-License-Identifier: MIT
#include "families/patterns/Pcre2Pattern.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <algorithm>
#include <new>
#include <pcre2.h>
#include <stdexcept>
#include <utility>

namespace kwlookup {

namespace {

/// PCRE2's own default.
constexpr std::size_t SMALLEST_JIT_STACK = 32 * 1024;
/// Starting positions to try before the clock is read. A text of the default length has so many, so
/// that it is searched in one part, with all optimisations of PCRE2. With the default limits the
/// worst known patterns take 4 ms for so many, and 25 interpreted.
constexpr std::size_t PART = 513;

template <auto Free>
struct Freeing {
    template <typename T>
    void operator()(T* object) const {
        Free(object);
    }
};

template <typename T, auto Free>
using Owned = std::unique_ptr<T, Freeing<Free>>;

template <typename T>
T* NotNull(T* made) {
    if (!made)
        throw std::bad_alloc();
    return made;
}

/// The working memory of a thread's searches, for all patterns.
class Scratch {
public:
    pcre2_match_data* GetMatchData() { return m_match_data.get(); }

    pcre2_match_context* Context(const PatternLimits& limits) {
        const auto heap = static_cast<std::size_t>(limits.heap);
        pcre2_match_context* context = m_context.get();
        pcre2_set_match_limit(context, static_cast<std::uint32_t>(limits.match));
        pcre2_set_depth_limit(context, static_cast<std::uint32_t>(limits.depth));
        pcre2_set_heap_limit(context, static_cast<std::uint32_t>(heap / 1024));
        if (m_stack_size != heap) {
            // Machine code ignores the heap limit; it uses this stack.
            m_stack_size = 0;
            pcre2_jit_stack_assign(context, nullptr, nullptr);
            m_stack.reset();
            m_stack.reset(
                NotNull(pcre2_jit_stack_create(std::min(SMALLEST_JIT_STACK, heap), heap, nullptr)));
            pcre2_jit_stack_assign(context, nullptr, m_stack.get());
            m_stack_size = heap;
        }
        return context;
    }

private:
    Owned<pcre2_match_data, pcre2_match_data_free> m_match_data{
        NotNull(pcre2_match_data_create(std::tuple_size<Pcre2Pattern::Groups>::value, nullptr))};
    Owned<pcre2_match_context, pcre2_match_context_free> m_context{
        NotNull(pcre2_match_context_create(nullptr))};
    Owned<pcre2_jit_stack, pcre2_jit_stack_free> m_stack;
    std::size_t m_stack_size = 0;
};

std::string ErrorMessage(int error) {
    unsigned char text[256];
    pcre2_get_error_message(error, text, sizeof text);
    return reinterpret_cast<const char*>(text);
}

/// The parameter that ended the search, as "; NAME is VALUE"; empty for other errors.
std::string LimitOf(int error, const PatternLimits& limits) {
    switch (error) {
    case PCRE2_ERROR_MATCHLIMIT:
        return "; MatchLimit is " + std::to_string(limits.match);
    case PCRE2_ERROR_DEPTHLIMIT:
        return "; DepthLimit is " + std::to_string(limits.depth);
    case PCRE2_ERROR_HEAPLIMIT:
    case PCRE2_ERROR_JIT_STACKLIMIT:
        return "; HeapLimit is " + std::to_string(limits.heap) + " bytes";
    default:
        return std::string();
    }
}

std::uint32_t CompileOptions(unsigned options) {
    // A pattern cannot turn on UTF-8 for itself: addresses are bytes of any kind.
    std::uint32_t bits = PCRE2_NEVER_UTF | PCRE2_NEVER_UCP | PCRE2_USE_OFFSET_LIMIT;
    if (options & Pcre2Pattern::IgnoreCase)
        bits |= PCRE2_CASELESS;
    if (options & Pcre2Pattern::MultiLine)
        bits |= PCRE2_MULTILINE;
    if (options & Pcre2Pattern::DotAll)
        bits |= PCRE2_DOTALL;
    if (options & Pcre2Pattern::WhiteSpace)
        bits |= PCRE2_EXTENDED;
    return bits;
}

} // namespace

void Pcre2Pattern::FreeCode::operator()(pcre2_real_code_8* code) const {
    pcre2_code_free(code);
}

Pcre2Pattern::Pcre2Pattern(std::string_view pattern, unsigned options) : m_text(pattern) {
    int error = 0;
    std::size_t offset = 0;
    m_code.reset(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(m_text.data()), m_text.size(),
                               CompileOptions(options), &error, &offset, nullptr));
    if (!m_code)
        throw std::invalid_argument(ErrorMessage(error) + " at offset " + std::to_string(offset));
    // \G would match at the start of each part, and verbs affect the search of the whole text.
    m_in_parts = m_text.find("\\G") == std::string::npos && m_text.find("(*") == std::string::npos;
}

Pcre2Pattern::~Pcre2Pattern() = default;

void Pcre2Pattern::MakeMachineCode() const {
    // A failure is ignored: the pattern is interpreted then.
    std::call_once(m_machine_code_made,
                   [this] { pcre2_jit_compile(m_code.get(), PCRE2_JIT_COMPLETE); });
}

bool Pcre2Pattern::Search(std::string_view text, const PatternLimits& limits, Groups* groups,
                          const SearchTime& time) const {
    const auto failure = [&](const std::string& reason) {
        return std::runtime_error("pattern '" + m_text + "': " + reason);
    };
    if (!limits.Allows(text.size()))
        throw failure(limits.TooLong(text.size()));
    MakeMachineCode();
    static thread_local Scratch scratch;
    pcre2_match_context* const context = scratch.Context(limits);
    const std::size_t step = m_in_parts ? PART : text.size() + 1;
    int result = PCRE2_ERROR_NOMATCH;
    for (std::size_t begin = 0; result == PCRE2_ERROR_NOMATCH && begin <= text.size();
         begin += step) {
        if (time.IsOver())
            throw failure(time.GetReason());
        pcre2_set_offset_limit(context, begin + step - 1);
        result = pcre2_match(m_code.get(), reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(),
                             begin, 0, scratch.GetMatchData(), context);
    }
    if (result == PCRE2_ERROR_NOMATCH)
        return false;
    if (result < 0)
        throw failure(ErrorMessage(result) + LimitOf(result, limits));
    if (groups) {
        // The result is 0 if the pattern has more groups than there is room for; all are filled
        // then.
        const std::size_t filled = result == 0 ? groups->size() : static_cast<std::size_t>(result);
        const std::size_t* ends = pcre2_get_ovector_pointer(scratch.GetMatchData());
        for (std::size_t i = 0; i < groups->size(); ++i) {
            const std::size_t begin = ends[2 * i];
            const std::size_t end = ends[2 * i + 1];
            // \K in a lookahead can put the start after the end.
            const bool part = i < filled && begin != PCRE2_UNSET && begin <= end;
            (*groups)[i] = part ? text.substr(begin, end - begin) : std::string_view();
        }
    }
    return true;
}

unsigned Pcre2Pattern::GetGroupCount() const {
    std::uint32_t count = 0;
    pcre2_pattern_info(m_code.get(), PCRE2_INFO_CAPTURECOUNT, &count);
    return count;
}

} // namespace kwlookup
