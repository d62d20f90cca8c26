# Makes a C program of the examples in a header's comments: each stands indented behind an empty comment line and
# becomes a function. What an example leaves to the reader ("... text ...") is left out.
BEGIN { print "#include <stdio.h>\n#include <stdlib.h>\n#include \"TorvaValues.h\"" }
!inside && /^ \*     / && before == " *" {
    inside = 1
    ++examples
    printf "\nvoid Example%d(uint16_t file);\nvoid Example%d(uint16_t file) {\n    (void)file;\n", examples, examples
}
inside && !/^ \*     / { inside = 0; print "}" }
inside { line = substr($0, 4); gsub(/\.\.\.[^{}]*\.\.\./, "", line); print line }
{ before = $0 }
END {
    print "\nint main(void) {"
    for (i = 1; i <= examples; ++i) printf "    Example%d(0);\n", i
    print "    return 0;\n}"
}
