// The shared library is made of the folders' libraries; CMake wants it to have a source of its own.
