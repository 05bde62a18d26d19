// The system's own bounded text formatter.
//
// It knows a fixed set of conversions with a width but no flags or precision,
// and never writes past the buffer: output that reaches the buffer's end stops
// there and the last byte becomes the terminator.
#include <cstdint>

#include "diag/report.h"

namespace setup {

namespace {

// Widths are clamped far above any buffer the system uses, so that a long
// run of digits in a format cannot overflow the counter.
constexpr int kMaxWidth = 1 << 20;

constexpr char kHexDigits[] = "0123456789ABCDEF";

// Appends characters to the caller's buffer until one byte is left for the NUL.
class Output {
 public:
  Output(char* buffer, std::size_t size) : m_pBuffer(buffer), m_nRoom(size - 1) {}

  bool Full() const { return m_nPos >= m_nRoom; }
  void Put(char c) {
    if (!Full()) m_pBuffer[m_nPos++] = c;
  }
  void Finish() { m_pBuffer[m_nPos] = '\0'; }
  std::size_t Length() const { return m_nPos; }

  // Decimal digits of a magnitude, with an optional minus sign.
  void Decimal(std::uint64_t magnitude, bool negative) {
    char digits[20];
    int count = 0;
    do {
      digits[count++] = static_cast<char>('0' + magnitude % 10);
      magnitude /= 10;
    } while (magnitude != 0);
    if (negative) Put('-');
    while (count > 0) Put(digits[--count]);
  }

  // The `count` low-order hexadecimal digits of `value`, leading zeros kept.
  void Hex(std::uint32_t value, int count) {
    for (int shift = (count - 1) * 4; shift >= 0; shift -= 4)
      Put(kHexDigits[(value >> shift) & 0xF]);
  }

 private:
  char* m_pBuffer;
  std::size_t m_nRoom;
  std::size_t m_nPos = 0;
};

// Number of hexadecimal digits a 32-bit "x" conversion prints for a width.
int HexDigitsForWidth(int width) {
  return (width >= 1 && width <= 7) ? width : 8;
}

}  // namespace

int FormatText(char* buffer, std::size_t size, const char* format, va_list args) {
  if (buffer == nullptr || size == 0) return 0;
  Output out(buffer, size);
  if (format == nullptr) {
    out.Finish();
    return 0;
  }

  const char* p = format;
  while (*p != '\0' && !out.Full()) {
    if (*p != '%') {
      out.Put(*p++);
      continue;
    }
    ++p;  // the '%'

    // Width: "*" from the arguments, or a decimal number that starts with 1-9.
    // Width 0 means no width.
    int width = 0;
    if (*p == '*') {
      width = va_arg(args, int);
      if (width < 0) width = 0;
      ++p;
    } else if (*p >= '1' && *p <= '9') {
      while (*p >= '0' && *p <= '9') {
        if (width < kMaxWidth) width = width * 10 + (*p - '0');
        ++p;
      }
    }

    const char conversion = *p;
    if (conversion == '\0') break;  // a format that ends inside a conversion
    ++p;

    switch (conversion) {
      case 'd':
      case 'i': {
        const std::int32_t value = va_arg(args, std::int32_t);
        const bool negative = value < 0;
        const std::uint64_t magnitude =
            negative ? static_cast<std::uint64_t>(-static_cast<std::int64_t>(value))
                     : static_cast<std::uint64_t>(value);
        out.Decimal(magnitude, negative);
        break;
      }
      case 'u':
        out.Decimal(va_arg(args, std::uint32_t), false);
        break;
      case 'x':
        out.Hex(va_arg(args, std::uint32_t), HexDigitsForWidth(width));
        break;
      case 'c':
      case 'C':
        out.Put(static_cast<char>(va_arg(args, int) & 0xFF));
        break;
      case 's': {
        const char* text = va_arg(args, const char*);
        if (text == nullptr) break;
        for (int n = 0; text[n] != '\0' && (width == 0 || n < width) && !out.Full(); ++n) {
          out.Put(text[n]);
        }
        break;
      }
      case 'S': {
        const std::uint16_t* text = va_arg(args, const std::uint16_t*);
        if (text == nullptr) break;
        for (int n = 0; text[n] != 0 && (width == 0 || n < width) && !out.Full(); ++n) {
          out.Put(static_cast<char>(text[n] & 0xFF));
        }
        break;
      }
      case 'T': {
        const CountedText16* text = va_arg(args, const CountedText16*);
        if (text == nullptr || text->Buffer == nullptr) break;
        const int count = text->Length / 2;
        for (int n = 0; n < count && text->Buffer[n] != 0 && !out.Full(); ++n) {
          out.Put(static_cast<char>(text->Buffer[n] & 0xFF));
        }
        break;
      }
      case 'D': {
        const std::int64_t value = va_arg(args, std::int64_t);
        const bool negative = value < 0;
        const std::uint64_t magnitude =
            negative ? ~static_cast<std::uint64_t>(value) + 1 : static_cast<std::uint64_t>(value);
        out.Decimal(magnitude, negative);
        break;
      }
      case 'L':
      case 'l': {
        const std::uint64_t value = va_arg(args, std::uint64_t);
        const auto high = static_cast<std::uint32_t>(value >> 32);
        const auto low = static_cast<std::uint32_t>(value);
        if (width >= 1 && width <= 8) {
          out.Hex(low, HexDigitsForWidth(width));
        } else if (width >= 9 && width <= 15) {
          out.Hex(high, width - 8);
          out.Hex(low, 8);
        } else {
          out.Hex(high, 8);
          out.Hex(low, 8);
        }
        break;
      }
      default:
        // Not a conversion (also "%%" and "%0"): the character itself.
        out.Put(conversion);
        break;
    }
  }

  out.Finish();
  return static_cast<int>(out.Length());
}

}  // namespace setup
