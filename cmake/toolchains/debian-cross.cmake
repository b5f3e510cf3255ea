# Common to the toolchains. Headers that are the same for all machines come from /usr/include, after
# those of the machine.
set(CMAKE_C_COMPILER ${KWLOOKUP_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${KWLOOKUP_TRIPLE}-g++)
set(CMAKE_CXX_FLAGS_INIT "-idirafter /usr/include")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH /usr/${KWLOOKUP_TRIPLE})
# The installed configuration files of these packages are for the build machine.
set(CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR}/headers-only)
