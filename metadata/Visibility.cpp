#include "Visibility.h"

#include <QString>

int ModParser::visibility_index(const QString& text)
{
    int index = 0;
    for (const char* const name : visibilities) {
        if (text.compare(QLatin1String(name), Qt::CaseInsensitive) == 0)
            return index;
        ++index;
    }
    return 0;
}
