// SPDX-License-Identifier: Apache-2.0
#include "SelectorPosition.h"

namespace Vorda::Gige {

std::string refusalAt(const std::vector<SelectorPosition>& positions, const std::string& name,
                      const std::string& value, const std::string& reason) {
    std::string where;
    for (const SelectorPosition& position : positions)
        where += (where.empty() ? " (" : ", ") + position.name + " " + position.value;
    if (where.empty()) return reason;
    where += ")";
    for (const std::string& subject : {name + " " + value, name}) {
        if (reason.starts_with(subject + ":"))
            return subject + where + reason.substr(subject.size());
    }
    return name + where + ": " + reason;
}

}  // namespace Vorda::Gige
