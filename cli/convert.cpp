#include <algorithm>

#include "Commands.h"
#include "Session.h"

namespace obstool {

ExitStatus runConvert(const ConvertOptions& options) {
    Session session(complainOfBadLine);
    if (!session.openLog(options.log)) return session.status();
    session.load(options.files);
    // An incomplete result must not take the place of an earlier good one.
    if (session.status() == ExitStatus::failure) return session.status();
    const auto format = std::find_if(kSaveFormats.begin(), kSaveFormats.end(),
                                     [&](const SaveFormat& f) { return f.name == options.format; });
    session.save(options.output, options.append, format->form);
    return session.status();
}

}  // namespace obstool
