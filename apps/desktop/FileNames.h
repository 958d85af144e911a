#pragma once

#include <QString>
#include <QStringList>
#include <string>
#include <vector>

namespace nvimport {

// What a selection of files is called: "barley.spc and 2 more".
QString NameOf(const std::vector<std::string>& files);

// The bytes of paths as the system has them.
std::vector<std::string> Paths(const QStringList& paths);

// A path as it is shown.
QString ShownPath(const std::string& file);

}  // namespace nvimport
