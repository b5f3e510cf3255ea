# Bytes from the most significant one: Debian's cross compiler, and qemu-user to run what it makes.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(KWLOOKUP_TRIPLE s390x-linux-gnu)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-s390x -L /usr/${KWLOOKUP_TRIPLE})
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
