# Fails when the README does not show an example word for word.
file(READ ${ROOT}/README.md readme)
foreach(example list_symbols.c list_symbols.cpp)
  file(READ ${ROOT}/examples/${example} source)
  string(FIND "${readme}" "${source}" at)
  if(at EQUAL -1)
    message(SEND_ERROR "README.md does not show examples/${example} as it is")
  endif()
endforeach()
