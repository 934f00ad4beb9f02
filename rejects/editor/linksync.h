#pragma once

#include <QString>

class QDataTable;

// Brings the link rows of one defect in line with a check list.
//
// `checks` is a look-up whose rows carry the linked record's "id" and a
// boolean "v" (linked or not); `links` holds the defect's link rows, each with
// "id_process_exam" and the linked id in `field`. A checked row without a link
// row gets one (or gets its deleted one back); an unchecked row with a link row
// has it deleted. Running it twice changes nothing the second time. Nothing is
// written: the rows wait for the data set's commit.
void syncLinks(QDataTable *checks, QDataTable *links, const QString &field, qint64 defectId);
