# cmake -DALL=FILE -DTO=FILE -DLIBRARY=NAME -P Definitions.cmake: of a linker's list of all that a library
# exports the C functions.
file(STRINGS ${ALL} functions REGEX "^[ \t]*NvImport")
list(TRANSFORM functions REPLACE "^[ \t]*([A-Za-z0-9_]+).*" "  \\1\n")
list(JOIN functions "" functions)
file(WRITE ${TO} "LIBRARY ${LIBRARY}\nEXPORTS\n${functions}")
