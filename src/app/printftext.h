#pragma once

#include <QByteArray>

#include <cstdio>

// Console texts are printed with the text itself as the printf format, so a
// "%%" in a text prints one "%" and "%d" prints a number. The texts never come
// with arguments, so every conversion is given a zero of its own type: "%d"
// prints "0", "%5s" five blanks, "%p" what the C library prints for a null
// pointer, "%m" the text of errno. "%n" stores nothing and prints nothing.
// A conversion the C library does not know is printed as written, and an
// incomplete one at the end of the text ends the output there, as printf does.
// Like printf, the output stops at the first NUL byte.
//
// Returns the number of bytes written, or -1 when writing failed.
int PrintfWithoutArguments(std::FILE* stream, const QByteArray& format);
