// Texts that must not compile: MALFORMED picks one. Without it the file does compile.
#include "common/result.h"

namespace {

constexpr NumberedText no_last_row[] = {{1, "one"}, {2, "two"}};
constexpr NumberedText number_too_large[] = {{65536, "one"}, {otherwise, "two"}};
constexpr NumberedText number_below_zero[] = {{-1, "one"}, {otherwise, "two"}};
constexpr NumberedText well_formed[] = {{1, "one {0}"}, {otherwise, "two {1:04x}"}};

} // namespace

void compile() {
    report<well_formed>(1, "text", 2);
    compose<"{0} {1:04x}">("text", 2);
#if MALFORMED == 1
    report<no_last_row>(1, 2);
#elif MALFORMED == 2
    report<number_too_large>(1, 2);
#elif MALFORMED == 3
    report<number_below_zero>(1, 2);
#elif MALFORMED == 4
    report<well_formed>(1, "text"); // one operand too few
#elif MALFORMED == 5
    report<well_formed>(1, 2, "text"); // a text is not shown in hexadecimal
#elif MALFORMED == 6
    compose<"{1}">(0);
#elif MALFORMED == 7
    compose<"{}">(0);
#elif MALFORMED == 8
    compose<"{0">(0);
#elif MALFORMED == 9
    compose<"{0:x}">(0);
#elif MALFORMED == 10
    compose<"{0:04x}">("text");
#elif MALFORMED == 11
    compose<"{a}">(0);
#elif MALFORMED == 12
    compose<"\x10">(0);
#elif MALFORMED == 13
    compose<"\x80">(0);
#elif MALFORMED == 14
    compose<"{0}">(0, 1, 2, 3); // more operands than there are placeholders
#endif
}
