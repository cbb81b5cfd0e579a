#include "companion/sizetree.h"

#include <QStringList>

SizeTree SizeTree::of(const QList<RomfsFile> &files)
{
    SizeTree root;
    for (const RomfsFile &file : files) {
        SizeTree *node = &root;
        node->size += file.size;
        for (const QString &name : file.path.split(u'/')) {
            node = &node->children[name];
            node->size += file.size;
        }
    }
    return root;
}
