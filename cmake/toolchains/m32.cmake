# 32-bit programs for this Linux, from Debian's g++-multilib.
set(CMAKE_C_FLAGS_INIT -m32)
set(CMAKE_CXX_FLAGS_INIT -m32)
