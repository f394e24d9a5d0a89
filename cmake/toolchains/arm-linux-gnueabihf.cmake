# The telephone's own processor: 32-bit ARM Linux, with Debian's cross compiler; programs run under qemu.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_FIND_ROOT_PATH /usr/arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /usr/arm-linux-gnueabihf)

# Libraries that are nothing but headers serve every processor, but the other headers beside them do not.
foreach(library CLI nlohmann)
    file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/headers)
    file(CREATE_LINK /usr/include/${library} ${CMAKE_BINARY_DIR}/headers/${library} SYMBOLIC)
endforeach()
set(CMAKE_INCLUDE_PATH ${CMAKE_BINARY_DIR}/headers)
