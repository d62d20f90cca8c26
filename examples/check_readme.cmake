# Fails when the README does not show the C++ example word for word.
file(READ ${ROOT}/README.md readme)
file(READ ${ROOT}/examples/list_symbols.cpp source)
string(FIND "${readme}" "${source}" at)
if(at EQUAL -1)
  message(SEND_ERROR "README.md does not show examples/list_symbols.cpp as it is")
endif()
