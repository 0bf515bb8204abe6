#pragma once

class QString;

namespace ModParser {

/// Who may see a Workshop item, as the program writes it. The order is that of the window's box and
/// of Steam's numbers.
inline constexpr const char* visibilities[] = {"Public", "Friends Only", "Private"};

/// The place of a text in `visibilities`, whatever its case; 0, "Public", for any other text.
int visibility_index(const QString& text);

} // namespace ModParser
