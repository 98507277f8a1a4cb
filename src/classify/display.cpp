// Showing classification lists: show clslist {<listno>|all}
#include "classify/classify.h"

#include "common/operands.h"
#include "platform/brgfdb.h"

#include <cstdio>

namespace {

constexpr NumberedText display_messages[] = {
    {status::no_action, "no action in profile classify {0}."},
    {status::no_profile_at_all, "classify profile does not exist."},
    {otherwise, "cannot show classify profile."},
};

} // namespace

void show_clslist(int32_t count, char** words) {
    if (count < 3) show_usage();
    const int32_t list = is_word(words[2], "all") ? every_list : read_number(words[2]);
    if (count > 3) no_more_argument();

    int32_t status = 0;
    if (brgfdb_disp_classify(list, &status) == 0) end_process(); // the display is the library's, and all there is
    // What the library has printed comes first. Naming stdout would have it looked up at every start of the tool.
    fflush(nullptr); // NOLINT(cert-err33-c): nobody is left to tell of a failure
    if (status == status::no_profile) refuse_missing(status, list);
    refuse<display_messages>(status, list);
}
