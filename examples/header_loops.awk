# Makes a C program of the examples in a header's comments: each is indented after an empty comment line and becomes a
# function. What an example leaves to the reader ("... text ...") is left out. The program runs the examples on an
# unknown handle and on a symbol file that is cut off at 400 lengths; no example may call the library again after an
# error, since that would deliver records that are not in the file.
BEGIN {
    print "#include <stdio.h>\n#include <stdlib.h>\n#include \"TorvaValues.h\"\n"
    print "static int failed, wrong;"
    print "static int32_t Checked(int32_t result, const char* call) {"
    print "    if (failed && !wrong++) fprintf(stderr, \"%s is called after an error\\n\", call);"
    print "    failed |= result < 0 && result != SYM_MORE_DATA && result != SYM_END_OF_DATA;"
    print "    return result;\n}"
}
/^TV_API int32_t/ {
    call = $0
    sub(/\(.*/, "", call)
    sub(/.* /, "", call)
    printf "#define %s(...) Checked(%s(__VA_ARGS__), \"%s\")\n", call, call, call
}
!inside && /^ \*     / && before == " *" {
    inside = 1
    ++examples
    text = text sprintf("\nvoid Example%d(uint16_t file);\nvoid Example%d(uint16_t file) {\n    (void)file;\n", examples, examples)
}
inside && !/^ \*     / { inside = 0; text = text "}\n" }
inside { line = substr($0, 4); gsub(/\.\.\.[^{}]*\.\.\./, "", line); text = text line "\n" }
{ before = $0 }
END {
    print text
    print "static void All(uint16_t file) {"
    for (i = 1; i <= examples; ++i) printf "    failed = 0;\n    Example%d(file);\n", i
    print "}\n"
    print "int main(int argc, char** argv) {"
    print "    static char bytes[1 << 20];"
    print "    FILE* in = argc == 3 ? fopen(argv[1], \"rb\") : NULL;"
    print "    if (in == NULL) return 2;"
    print "    size_t size = fread(bytes, 1, sizeof bytes, in);"
    print "    fclose(in);"
    print "    All(0);"
    print "    for (size_t cut = 1; cut <= 400; ++cut) {"
    print "        FILE* out = fopen(argv[2], \"wb\");"
    print "        if (out == NULL) return 2;"
    print "        fwrite(bytes, 1, size * cut / 400, out);"
    print "        fclose(out);"
    print "        failed = 0;"
    print "        int32_t file = tv_OpenSymFile(argv[2], 1u << 20, NULL, 0, cut % 2);"
    print "        if (file > 0) All((uint16_t)file);"
    print "        tv_CloseSymFile((uint16_t)(file > 0 ? file : 0));"
    print "    }"
    print "    return wrong != 0;\n}"
}
