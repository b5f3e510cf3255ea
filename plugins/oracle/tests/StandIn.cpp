// SPDX-License-Identifier: MIT
#undef NDEBUG // assert() is what checks calls

#include "plugins/oracle/tests/StandIn.h"

#include "host/KwExport.h"

#include <algorithm>
#include <cassert>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <regex>
#include <set>
#include <sqlite3.h>
#include <thread>
#include <vector>

// The numbers are those of the interface's documentation. They are not shared with the plug-in, so
// that a wrong one is noticed.

namespace {

enum Type { ENVIRONMENT = 1, ERROR = 2, SERVICE = 3, STATEMENT = 4, SERVER = 8, SESSION = 9 };
constexpr std::uint32_t PARAMETER = 53;

constexpr int SUCCESS = 0, SUCCESS_WITH_INFO = 1, NO_DATA = 100, FAILURE = -1;

constexpr std::size_t LONGEST_PARAMETER = 4000;

StandIn& State() {
    static auto& state = *new StandIn;
    return state;
}

struct Column {
    std::uint16_t type = 1;
    std::uint16_t size = 4000;
};

struct Define {
    char* text = nullptr;
    std::int32_t size = 0;
    std::int16_t* indicator = nullptr;
    std::uint16_t* length = nullptr;
    std::uint16_t* code = nullptr;
};

/// A handle or a descriptor of any type.
struct Handle {
    explicit Handle(std::uint32_t of_type) : type(of_type) { ++State().handles; }
    ~Handle() { --State().handles; }

    const std::uint32_t type;

    // of an error
    int code = 0;
    std::string reason;

    // of a server
    struct Close {
        void operator()(sqlite3* open) const { ::sqlite3_close(open); }
    };
    std::unique_ptr<sqlite3, Close> database;

    // of a session
    std::string user, password;
    int number = 0;

    // of a service
    Handle* server = nullptr;
    Handle* session = nullptr;
    std::uint32_t limit = 0;

    // of a statement
    struct Finalize {
        void operator()(sqlite3_stmt* statement) const { ::sqlite3_finalize(statement); }
    };
    std::string text;
    std::unique_ptr<sqlite3_stmt, Finalize> prepared;
    std::set<std::string> tables;
    const char* bound = nullptr;
    std::int32_t bound_size = 0;
    std::uint16_t bound_type = 0;
    std::map<std::uint32_t, Define> defines;

    // of a parameter
    Column column;
};

Handle& As(std::uint32_t type, const void* handle) {
    assert(handle);
    auto& as = *static_cast<Handle*>(const_cast<void*>(handle));
    assert(as.type == type);
    return as;
}

int Fail(void* error, int code, const std::string& reason) {
    char number[16];
    std::snprintf(number, sizeof(number), "ORA-%05d: ", code);
    As(ERROR, error).code = code;
    As(ERROR, error).reason = number + reason + "\nHelp: nowhere\n";
    return FAILURE;
}

int FailInDatabase(void* error, sqlite3* database) {
    const std::string reason = ::sqlite3_errmsg(database);
    if (reason.find("no such table") != std::string::npos)
        return Fail(error, 942, "table or view does not exist");
    if (reason.find("no such column") != std::string::npos)
        return Fail(error, 904, "invalid identifier");
    return Fail(error, 900, reason);
}

Column ColumnOf(sqlite3_stmt* prepared, int index) {
    const char* const declared = ::sqlite3_column_decltype(prepared, index);
    const std::string text = declared ? declared : "";
    const std::string name = text.substr(0, text.find('('));
    static const std::map<std::string, Column> columns = {
        {"varchar2", {1, 4000}}, {"number", {2, 22}}, {"integer", {2, 22}}, {"long", {8, 0}},
        {"date", {12, 7}},       {"raw", {23, 2000}}, {"char", {96, 2000}}, {"clob", {112, 86}}};
    const auto found = columns.find(name);
    if (found == columns.end()) // the column of a view
        return {};
    Column column = found->second;
    if (name != text && name != "number")
        column.size = static_cast<std::uint16_t>(std::stoi(text.substr(name.size() + 1)));
    return column;
}

/// Collects the tables that a statement reads, but not those that a view reads.
int NoteTable(void* statement, int action, const char* table, const char*, const char*,
              const char* view) {
    if (action == SQLITE_READ && !view) {
        std::string name = table;
        std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) {
            return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
        });
        static_cast<Handle*>(statement)->tables.insert(name);
    }
    return SQLITE_OK;
}

bool MayRead(sqlite3* database, const std::string& table) {
    sqlite3_stmt* prepared = nullptr;
    ::sqlite3_prepare_v2(database, "select 1 from grants where name = ?", -1, &prepared, nullptr);
    const std::unique_ptr<sqlite3_stmt, Handle::Finalize> granted(prepared);
    ::sqlite3_bind_text(prepared, 1, table.c_str(), -1, SQLITE_TRANSIENT);
    return ::sqlite3_step(prepared) == SQLITE_ROW;
}

bool Prepare(sqlite3* database, Handle& statement) {
    // Oracle has no "limit".
    const std::string text =
        std::regex_replace(statement.text, std::regex(" and rownum <= ([0-9]+)$"), " limit $1");
    ::sqlite3_set_authorizer(database, NoteTable, &statement);
    sqlite3_stmt* prepared = nullptr;
    const int done = ::sqlite3_prepare_v2(database, text.c_str(), -1, &prepared, nullptr);
    ::sqlite3_set_authorizer(database, nullptr, nullptr);
    statement.prepared.reset(prepared);
    return done == SQLITE_OK;
}

/// The value without blanks at its end, as the types CHAR and VARCHAR2 are compared.
std::int32_t WithoutBlanks(const char* text, std::int32_t size) {
    while (size > 0 && text[size - 1] == ' ')
        --size;
    return size;
}

/// False if the value is too long for Oracle.
bool Bind(Handle& statement) {
    if (::sqlite3_bind_parameter_count(statement.prepared.get()) == 0)
        return true;
    assert(::sqlite3_bind_parameter_count(statement.prepared.get()) == 1);
    assert(statement.bound);
    const char* value = statement.bound;
    std::int32_t size = statement.bound_size;
    std::uint16_t length;
    switch (statement.bound_type) {
    case 9: // VARCHAR: its length comes first
        assert(size > 2);
        std::memcpy(&length, value, sizeof(length));
        assert(length == size - 2);
        value += 2;
        size -= 2;
        break;
    case 1:  // VARCHAR2
    case 96: // CHAR
        size = WithoutBlanks(value, size);
        break;
    default:
        assert(statement.bound_type == 23); // RAW
    }
    if (statement.bound_type == 23)
        ::sqlite3_bind_blob(statement.prepared.get(), 1, value, size, SQLITE_TRANSIENT);
    else
        ::sqlite3_bind_text(statement.prepared.get(), 1, value, size, SQLITE_TRANSIENT);
    return size <= static_cast<std::int32_t>(LONGEST_PARAMETER);
}

/// False if the limit of calls has passed.
bool Hang(const Handle& service) {
    const auto begin = std::chrono::steady_clock::now();
    while (State().hangs) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        if (service.limit &&
            std::chrono::steady_clock::now() - begin > std::chrono::milliseconds(service.limit))
            return false;
    }
    return true;
}

std::string Cell(sqlite3_stmt* prepared, int index, const Column& column) {
    const auto size = static_cast<std::size_t>(::sqlite3_column_bytes(prepared, index));
    if (column.type == 23) {
        const auto* bytes =
            static_cast<const unsigned char*>(::sqlite3_column_blob(prepared, index));
        std::string digits;
        for (std::size_t i = 0; i < size; ++i)
            digits.append({"0123456789ABCDEF"[bytes[i] >> 4], "0123456789ABCDEF"[bytes[i] & 15]});
        return digits;
    }
    std::string text(reinterpret_cast<const char*>(::sqlite3_column_text(prepared, index)), size);
    if (column.type == 96)
        text.resize(std::max<std::size_t>(size, column.size), ' ');
    return text;
}

/// True if the value fits.
bool Put(sqlite3_stmt* prepared, int index, const Define& define) {
    if (::sqlite3_column_type(prepared, index) == SQLITE_NULL) {
        *define.indicator = -1;
        return true;
    }
    std::string text = Cell(prepared, index, ColumnOf(prepared, index));
    if (text.empty()) { // which is NULL to Oracle
        *define.indicator = -1;
        return true;
    }
    const auto room = static_cast<std::size_t>(define.size);
    const bool fits = text.size() <= room;
    *define.indicator = fits ? 0 : -2;
    text.resize(std::min(text.size(), room));
    std::memcpy(define.text, text.data(), text.size());
    *define.length = static_cast<std::uint16_t>(text.size());
    *define.code = fits ? 0 : 1406;
    return fits;
}

} // namespace

extern "C" {

KW_EXPORT StandIn* StandInState() {
    return &State();
}

KW_EXPORT int OCIEnvNlsCreate(void** env, std::uint32_t mode, void* context, void* allocate,
                              void* reallocate, void* release, std::size_t extra,
                              void** user_memory, std::uint16_t charset, std::uint16_t national) {
    assert(env && mode == 1 && !context && !allocate && !reallocate && !release && !extra &&
           !user_memory);
    assert(charset == 873 && national == 873);
    *env = new Handle(ENVIRONMENT);
    return SUCCESS;
}

KW_EXPORT int OCIHandleAlloc(const void* parent, void** handle, std::uint32_t type,
                             std::size_t extra, void** user_memory) {
    As(ENVIRONMENT, parent);
    assert(handle && !extra && !user_memory);
    assert(type == ERROR || type == SERVICE || type == SERVER || type == SESSION);
    *handle = new Handle(type);
    return SUCCESS;
}

KW_EXPORT int OCIHandleFree(void* handle, std::uint32_t type) {
    const std::unique_ptr<Handle> freed(&As(type, handle));
    assert(type != STATEMENT && type != PARAMETER);
    assert(!freed->database);
    return SUCCESS;
}

KW_EXPORT int OCIDescriptorFree(void* descriptor, std::uint32_t type) {
    assert(type == PARAMETER);
    delete &As(type, descriptor);
    return SUCCESS;
}

KW_EXPORT int OCIAttrSet(void* target, std::uint32_t type, void* value, std::uint32_t size,
                         std::uint32_t attribute, void* error) {
    As(ERROR, error);
    Handle& handle = As(type, target);
    const auto number = [&] {
        assert(size == sizeof(std::uint32_t));
        std::uint32_t read;
        std::memcpy(&read, value, sizeof(read));
        return read;
    };
    if (type == SERVICE && attribute == 6) {
        handle.server = &As(SERVER, value);
        assert(handle.server->database);
    } else if (type == SERVICE && attribute == 7) {
        handle.session = &As(SESSION, value);
        assert(handle.session->number);
    } else if (type == SERVICE && attribute == 531) {
        if (State().knows_no_limit)
            return Fail(error, 24315, "illegal attribute type");
        handle.limit = number();
    } else if (type == STATEMENT && attribute == 11) {
        assert(number() > 0);
    } else {
        assert(type == SESSION && (attribute == 22 || attribute == 23));
        (attribute == 22 ? handle.user : handle.password)
            .assign(static_cast<const char*>(value), size);
    }
    return SUCCESS;
}

KW_EXPORT int OCIAttrGet(const void* target, std::uint32_t type, void* value, std::uint32_t*,
                         std::uint32_t attribute, void* error) {
    As(ERROR, error);
    const Handle& handle = As(type, target);
    if (type == STATEMENT) {
        assert(attribute == 18 && handle.prepared);
        const auto columns =
            static_cast<std::uint32_t>(::sqlite3_column_count(handle.prepared.get()));
        std::memcpy(value, &columns, sizeof(columns));
    } else {
        assert(type == PARAMETER && (attribute == 1 || attribute == 2));
        std::memcpy(value, attribute == 1 ? &handle.column.size : &handle.column.type, 2);
    }
    return SUCCESS;
}

KW_EXPORT int OCIServerAttach(void* server, void* error, const unsigned char* name,
                              std::int32_t length, std::uint32_t mode) {
    assert(name && length > 0 && mode == 0);
    const std::string address(reinterpret_cast<const char*>(name),
                              static_cast<std::size_t>(length));
    {
        const std::lock_guard<std::mutex> lock(State().lock);
        State().last_address = address;
    }
    static const auto& descriptor =
        *new std::regex("\\(DESCRIPTION=\\(CONNECT_TIMEOUT=[1-9][0-9]*\\)\\(ADDRESS=\\(PROTOCOL="
                        "TCP\\)\\(HOST=([^()]+)\\)\\(PORT=[0-9]+\\)\\)\\(CONNECT_DATA=\\(SERVICE_"
                        "NAME=([^()]+)\\)\\)\\)");
    std::smatch parts;
    std::string service = address;
    if (address[0] == '(') {
        assert(std::regex_match(address, parts, descriptor));
        service = parts[2];
    }
    while (State().hangs_in_attach)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    if (State().is_down || (!parts.empty() && parts[1] == "away.test"))
        return Fail(error, 12541, "TNS:no listener");
    sqlite3* database = nullptr;
    const int opened = ::sqlite3_open_v2((State().directory + service + ".db").c_str(), &database,
                                         SQLITE_OPEN_READONLY, nullptr);
    Handle& handle = As(SERVER, server);
    assert(!handle.database);
    handle.database.reset(database);
    if (opened != SQLITE_OK) {
        handle.database.reset();
        return Fail(error, 12514, "TNS:listener does not currently know of service");
    }
    ::sqlite3_busy_timeout(database, 10000);
    // Names between double quotes are never texts.
    ::sqlite3_db_config(database, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
    return SUCCESS;
}

KW_EXPORT int OCIServerDetach(void* server, void* error, std::uint32_t mode) {
    As(ERROR, error);
    assert(mode == 0 && As(SERVER, server).database);
    sqlite3* const database = As(SERVER, server).database.release();
    assert(::sqlite3_close(database) == SQLITE_OK); // all statements are gone
    return SUCCESS;
}

KW_EXPORT int OCISessionBegin(void* service, void* error, void* session, std::uint32_t credentials,
                              std::uint32_t mode) {
    assert(As(SERVICE, service).server && credentials == 1 && mode == 0);
    Handle& handle = As(SESSION, session);
    if (handle.user != "kw" || handle.password != "secret of the test")
        return Fail(error, 1017, "invalid username/password; logon denied");
    handle.number = ++State().sessions;
    return SUCCESS;
}

KW_EXPORT int OCISessionEnd(void* service, void* error, void* session, std::uint32_t mode) {
    As(ERROR, error);
    assert(As(SERVICE, service).server && As(SESSION, session).number && mode == 0);
    return SUCCESS;
}

KW_EXPORT int OCIStmtPrepare2(void* service, void** statement, void* error,
                              const unsigned char* text, std::uint32_t length,
                              const unsigned char* key, std::uint32_t key_length,
                              std::uint32_t language, std::uint32_t mode) {
    As(ERROR, error);
    assert(As(SERVICE, service).session && statement && !key && !key_length);
    assert(language == 1 && mode == 0);
    ++State().prepared;
    auto handle = std::make_unique<Handle>(STATEMENT);
    handle->text.assign(reinterpret_cast<const char*>(text), length);
    *statement = handle.release();
    return SUCCESS;
}

KW_EXPORT int OCIStmtRelease(void* statement, void* error, const unsigned char* key,
                             std::uint32_t key_length, std::uint32_t mode) {
    As(ERROR, error);
    assert(!key && !key_length && mode == 0);
    delete &As(STATEMENT, statement);
    return SUCCESS;
}

KW_EXPORT int OCIBindByPos(void* statement, void** bind, void* error, std::uint32_t position,
                           void* value, std::int32_t size, std::uint16_t type, void* indicator,
                           std::uint16_t* length, std::uint16_t* code, std::uint32_t max_array,
                           std::uint32_t* elements, std::uint32_t mode) {
    As(ERROR, error);
    assert(bind && position == 1 && value && size > 0);
    assert(!indicator && !length && !code && !max_array && !elements && mode == 0);
    Handle& handle = As(STATEMENT, statement);
    handle.bound = static_cast<const char*>(value);
    handle.bound_size = size;
    handle.bound_type = type;
    return SUCCESS;
}

KW_EXPORT int OCIDefineByPos(void* statement, void** define, void* error, std::uint32_t position,
                             void* value, std::int32_t size, std::uint16_t type, void* indicator,
                             std::uint16_t* length, std::uint16_t* code, std::uint32_t mode) {
    As(ERROR, error);
    assert(define && position >= 1 && value && size > 0 && type == 1);
    assert(indicator && length && code && mode == 0);
    As(STATEMENT, statement).defines[position] = {
        static_cast<char*>(value), size, static_cast<std::int16_t*>(indicator), length, code};
    return SUCCESS;
}

KW_EXPORT int OCIStmtExecute(void* service, void* statement, void* error, std::uint32_t iterations,
                             std::uint32_t offset, const void* snapshot_in, void* snapshot_out,
                             std::uint32_t mode) {
    assert(iterations == 0 && offset == 0 && !snapshot_in && !snapshot_out);
    assert(mode == 0 || mode == 0x10);
    const Handle& of_service = As(SERVICE, service);
    Handle& handle = As(STATEMENT, statement);
    sqlite3* const database = of_service.server->database.get();
    {
        const std::lock_guard<std::mutex> lock(State().lock);
        State().last_text = handle.text;
    }
    if (of_service.session->number <= State().killed)
        return Fail(error, 3113, "end-of-file on communication channel");
    // The server reads a statement again when a table has changed, which SQLite notices at a query.
    ::sqlite3_exec(database, "select 1 from grants", nullptr, nullptr, nullptr);
    if (!Prepare(database, handle))
        return FailInDatabase(error, database);
    for (const std::string& table : handle.tables)
        if (!MayRead(database, table))
            return Fail(error, 942, "table or view does not exist");
    if (mode != 0)
        return SUCCESS; // it is only described
    if (!Bind(handle))
        return Fail(error, 1460, "unimplemented or unreasonable conversion requested");
    if (handle.tables.count("slow") && !Hang(of_service))
        return Fail(error, 3136, "inbound connection timed out");
    return SUCCESS;
}

KW_EXPORT int OCIStmtFetch2(void* statement, void* error, std::uint32_t rows,
                            std::uint16_t orientation, std::int32_t offset, std::uint32_t mode) {
    assert(rows == 1 && orientation == 2 && offset == 0 && mode == 0);
    const Handle& handle = As(STATEMENT, statement);
    sqlite3_stmt* const prepared = handle.prepared.get();
    assert(prepared);
    switch (::sqlite3_step(prepared)) {
    case SQLITE_ROW: {
        bool fits = true;
        for (const auto& [position, define] : handle.defines)
            fits &= Put(prepared, static_cast<int>(position) - 1, define);
        return fits ? SUCCESS : SUCCESS_WITH_INFO;
    }
    case SQLITE_DONE:
        ::sqlite3_reset(prepared);
        return NO_DATA;
    default:
        return FailInDatabase(error, ::sqlite3_db_handle(prepared));
    }
}

KW_EXPORT int OCIParamGet(const void* handle, std::uint32_t type, void* error, void** parameter,
                          std::uint32_t position) {
    As(ERROR, error);
    assert(type == STATEMENT && parameter);
    sqlite3_stmt* const prepared = As(STATEMENT, handle).prepared.get();
    assert(prepared && position >= 1);
    assert(position <= static_cast<std::uint32_t>(::sqlite3_column_count(prepared)));
    auto described = std::make_unique<Handle>(PARAMETER);
    described->column = ColumnOf(prepared, static_cast<int>(position) - 1);
    *parameter = described.release();
    return SUCCESS;
}

KW_EXPORT int OCIErrorGet(void* handle, std::uint32_t record, unsigned char* state,
                          std::int32_t* code, unsigned char* text, std::uint32_t size,
                          std::uint32_t type) {
    assert(record == 1 && !state && code && text && size > 0 && type == ERROR);
    const Handle& error = As(ERROR, handle);
    *code = error.code;
    std::snprintf(reinterpret_cast<char*>(text), size, "%s", error.reason.c_str());
    return SUCCESS;
}

} // extern "C"
