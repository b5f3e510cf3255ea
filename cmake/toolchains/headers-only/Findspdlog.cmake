add_library(spdlog::spdlog INTERFACE IMPORTED)
set_target_properties(spdlog::spdlog PROPERTIES
  INTERFACE_COMPILE_DEFINITIONS "SPDLOG_FMT_EXTERNAL;FMT_HEADER_ONLY")
set(spdlog_FOUND TRUE)
