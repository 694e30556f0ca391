#include "common/day_stamp.h"

#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/unistr.h>

#include "platform/env.h"

namespace qdx {

std::string dayStamp(double secondsSince1970, const std::string& locale) {
  UErrorCode status = U_ZERO_ERROR;
  icu::SimpleDateFormat format(icu::UnicodeString::fromUTF8("YYYY-MM-dd"),
                               icu::Locale::createFromName(locale.c_str()), status);
  if (U_FAILURE(status)) return "";
  icu::UnicodeString text;
  format.format(static_cast<UDate>(secondsSince1970 * 1000.0), text);
  std::string out;
  text.toUTF8String(out);
  return out;
}

std::string todayStamp() {
  Env* env = Env::Default();
  return dayStamp(env->now(), env->locale());
}

}  // namespace qdx
