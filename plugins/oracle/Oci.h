// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

/// The part of Oracle's call interface that the plug-in uses, declared here as its public
/// documentation describes it: the vendor's headers are not available everywhere. Handles have no
/// types here, so one declaration serves all of them.
namespace kwlookup::oci {

enum Result : int { SUCCESS = 0, SUCCESS_WITH_INFO = 1, NO_DATA = 100, ERROR = -1 };

enum HandleType : std::uint32_t {
    HTYPE_ENV = 1,
    HTYPE_ERROR = 2,
    HTYPE_SVCCTX = 3,
    HTYPE_STMT = 4,
    HTYPE_SERVER = 8,
    HTYPE_SESSION = 9,
    DTYPE_PARAM = 53
};

enum Attribute : std::uint32_t {
    ATTR_DATA_SIZE = 1,
    ATTR_DATA_TYPE = 2,
    ATTR_SERVER = 6,
    ATTR_SESSION = 7,
    ATTR_PREFETCH_ROWS = 11,
    ATTR_PARAM_COUNT = 18,
    ATTR_USERNAME = 22,
    ATTR_PASSWORD = 23,
    ATTR_CALL_TIMEOUT = 531 ///< in milliseconds; from version 18 on
};

/// Types of columns, and of the variables that are bound to them.
enum DataType : std::uint16_t {
    SQLT_CHR = 1,
    SQLT_NUM = 2,
    SQLT_LNG = 8,
    SQLT_VCS = 9,
    SQLT_BIN = 23,
    SQLT_AFC = 96,
    SQLT_CLOB = 112
};

constexpr std::uint32_t THREADED = 1;
constexpr std::uint32_t DEFAULT = 0;
constexpr std::uint32_t DESCRIBE_ONLY = 0x10;
constexpr std::uint32_t CRED_RDBMS = 1;
constexpr std::uint32_t NTV_SYNTAX = 1;
constexpr std::uint16_t FETCH_NEXT = 2;
/// The character set AL32UTF8.
constexpr std::uint16_t UTF8 = 873;

/// Types of the functions, by their names.
using EnvNlsCreate = int(void** env, std::uint32_t mode, void* context, void* allocate,
                         void* reallocate, void* release, std::size_t extra, void** user_memory,
                         std::uint16_t charset, std::uint16_t national_charset);
using HandleAlloc = int(const void* parent, void** handle, std::uint32_t type, std::size_t extra,
                        void** user_memory);
using HandleFree = int(void* handle, std::uint32_t type);
using DescriptorFree = int(void* descriptor, std::uint32_t type);
using AttrSet = int(void* target, std::uint32_t type, void* value, std::uint32_t size,
                    std::uint32_t attribute, void* error);
using AttrGet = int(const void* target, std::uint32_t type, void* value, std::uint32_t* size,
                    std::uint32_t attribute, void* error);
using ServerAttach = int(void* server, void* error, const unsigned char* name, std::int32_t length,
                         std::uint32_t mode);
using ServerDetach = int(void* server, void* error, std::uint32_t mode);
using SessionBegin = int(void* service, void* error, void* session, std::uint32_t credentials,
                         std::uint32_t mode);
using SessionEnd = int(void* service, void* error, void* session, std::uint32_t mode);
using StmtPrepare2 = int(void* service, void** statement, void* error, const unsigned char* text,
                         std::uint32_t length, const unsigned char* key, std::uint32_t key_length,
                         std::uint32_t language, std::uint32_t mode);
using StmtRelease = int(void* statement, void* error, const unsigned char* key,
                        std::uint32_t key_length, std::uint32_t mode);
using BindByPos = int(void* statement, void** bind, void* error, std::uint32_t position,
                      void* value, std::int32_t size, std::uint16_t type, void* indicator,
                      std::uint16_t* length, std::uint16_t* code, std::uint32_t max_array,
                      std::uint32_t* elements, std::uint32_t mode);
using DefineByPos = int(void* statement, void** define, void* error, std::uint32_t position,
                        void* value, std::int32_t size, std::uint16_t type, void* indicator,
                        std::uint16_t* length, std::uint16_t* code, std::uint32_t mode);
using StmtExecute = int(void* service, void* statement, void* error, std::uint32_t iterations,
                        std::uint32_t offset, const void* snapshot_in, void* snapshot_out,
                        std::uint32_t mode);
using StmtFetch2 = int(void* statement, void* error, std::uint32_t rows, std::uint16_t orientation,
                       std::int32_t offset, std::uint32_t mode);
using ParamGet = int(const void* handle, std::uint32_t type, void* error, void** parameter,
                     std::uint32_t position);
using ErrorGet = int(void* handle, std::uint32_t record, unsigned char* state, std::int32_t* code,
                     unsigned char* text, std::uint32_t size, std::uint32_t type);

} // namespace kwlookup::oci
