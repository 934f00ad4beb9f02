#pragma once

#include <QList>
#include <QString>

// One installed panel (module) of the host, as the database lists it: the
// host loads `library` from its library directory and shows it under `caption`.
struct panelData
{
    QString name;    // system name of the module, e.g. "rejects"
    QString library; // library base name, e.g. "rejects" for librejects.so
    QString caption; // text of the host's menu entry
    int order = 0;   // position in the host's menus
};

typedef QList<panelData> QPanelList;
