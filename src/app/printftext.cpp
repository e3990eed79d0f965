#include "app/printftext.h"

#include <cerrno>
#include <cstring>

namespace {

enum class ArgumentKind
{
    None,
    Percent,
    Integer,
    Unsigned,
    Double,
    String,
    Pointer,
    Store,
    Errno
};

ArgumentKind KindOf(char conversion)
{
    switch (conversion) {
    case 'd':
    case 'i':
    case 'c':
    case 'C':
        return ArgumentKind::Integer;
    case 'o':
    case 'u':
    case 'x':
    case 'X':
    case 'b':
    case 'B':
        return ArgumentKind::Unsigned;
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
        return ArgumentKind::Double;
    case 's':
    case 'S':
        return ArgumentKind::String;
    case 'p':
        return ArgumentKind::Pointer;
    case 'n':
        return ArgumentKind::Store;
    case 'm':
        return ArgumentKind::Errno;
    case '%':
        return ArgumentKind::Percent;
    default:
        return ArgumentKind::None;
    }
}

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

// Skips an argument position "N$" at text[index], if there is one.
int SkipPosition(const char* text, int index)
{
    int end = index;
    while (IsDigit(text[end]))
        ++end;
    return end > index && text[end] == '$' ? end + 1 : index;
}

// One conversion, rewritten so that a zero of one plain C type prints it as the
// original would print a zero: no argument positions, no length modifiers (a
// zero reads the same in every width), a '*' width dropped, a '*' precision 0.
struct Conversion
{
    QByteArray directive;
    char letter = '\0';
    int end = 0; // index just behind the conversion letter; 0 when incomplete
};

Conversion ParseConversion(const char* text, int start)
{
    Conversion conversion;
    conversion.directive = "%";
    int index = SkipPosition(text, start + 1);
    while (text[index] != '\0' && std::strchr("-+ #0'I", text[index]))
        conversion.directive += text[index++];
    if (text[index] == '*') {
        index = SkipPosition(text, index + 1);
    } else {
        while (IsDigit(text[index]))
            conversion.directive += text[index++];
    }
    if (text[index] == '.') {
        conversion.directive += text[index++];
        if (text[index] == '*') {
            index = SkipPosition(text, index + 1);
            conversion.directive += '0';
        } else {
            while (IsDigit(text[index]))
                conversion.directive += text[index++];
        }
    }
    while (text[index] != '\0' && std::strchr("hlLqjzZt", text[index]))
        ++index;
    if (text[index] == '\0')
        return conversion;
    conversion.letter = text[index];
    conversion.end = index + 1;
    // Wide characters and strings are plain ones once their argument is a zero.
    const char plainLetter = conversion.letter == 'C'   ? 'c'
                             : conversion.letter == 'S' ? 's'
                                                        : conversion.letter;
    conversion.directive += plainLetter;
    return conversion;
}

int PrintConversion(std::FILE* stream, const Conversion& conversion, const char* original,
                    int start, int savedErrno)
{
    const char* directive = conversion.directive.constData();
    switch (KindOf(conversion.letter)) {
    case ArgumentKind::Integer:
        return std::fprintf(stream, directive, 0);
    case ArgumentKind::Unsigned:
        return std::fprintf(stream, directive, 0u);
    case ArgumentKind::Double:
        return std::fprintf(stream, directive, 0.0);
    case ArgumentKind::String:
        return std::fprintf(stream, directive, "");
    case ArgumentKind::Pointer:
        return std::fprintf(stream, directive, static_cast<void*>(nullptr));
    case ArgumentKind::Store:
        return 0;
    case ArgumentKind::Errno:
        errno = savedErrno;
        return std::fprintf(stream, directive, 0);
    case ArgumentKind::Percent:
        return std::fputc('%', stream) == EOF ? -1 : 1;
    case ArgumentKind::None:
        break;
    }
    const size_t length = static_cast<size_t>(conversion.end - start);
    return std::fwrite(original + start, 1, length, stream) == length ? static_cast<int>(length)
                                                                      : -1;
}

} // namespace

int PrintfWithoutArguments(std::FILE* stream, const QByteArray& format)
{
    const int savedErrno = errno;
    const char* text = format.constData();
    int written = 0;
    int index = 0;
    while (text[index] != '\0') {
        if (text[index] != '%') {
            const int literalEnd = index + static_cast<int>(std::strcspn(text + index, "%"));
            const size_t length = static_cast<size_t>(literalEnd - index);
            if (std::fwrite(text + index, 1, length, stream) != length)
                return -1;
            written += static_cast<int>(length);
            index = literalEnd;
            continue;
        }
        const Conversion conversion = ParseConversion(text, index);
        if (conversion.end == 0)
            break; // an incomplete conversion ends printf's output
        const int count = PrintConversion(stream, conversion, text, index, savedErrno);
        if (count < 0)
            return -1;
        written += count;
        index = conversion.end;
    }
    std::fflush(stream);
    errno = savedErrno;
    return written;
}
