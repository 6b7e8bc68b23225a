// What the forms of the scalers' row functions share.
#ifndef ENCMGR_SCALE_ROWS_SETS_H
#define ENCMGR_SCALE_ROWS_SETS_H

#include "Common/Image/ScaleRows.h"

void OverwriteScaleRowsSse41(ScaleRowTable& table);
void OverwriteScaleRowsAvx2(ScaleRowTable& table);

#endif // ENCMGR_SCALE_ROWS_SETS_H
