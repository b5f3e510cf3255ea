# 32 bits: Debian's cross compiler. The machine itself runs what it makes.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(KWLOOKUP_TRIPLE i686-linux-gnu)
set(KWLOOKUP_CROSS_LIBRARIES /usr/${KWLOOKUP_TRIPLE}/lib)
set(CMAKE_EXE_LINKER_FLAGS_INIT
  "-Wl,-dynamic-linker,${KWLOOKUP_CROSS_LIBRARIES}/ld-linux.so.2 -Wl,-rpath,${KWLOOKUP_CROSS_LIBRARIES}")
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
