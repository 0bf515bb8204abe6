#pragma once

#include <QString>

/// Where the parser stopped, counted from 1, and why.
struct XmlError
{
    QString message;
    int line = 1;
    int column = 1;
};
