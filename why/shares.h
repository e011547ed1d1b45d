// The shares of a finding's culprits.
#pragma once

#include "why/scene.h"

// Orders the culprits, keeps the largest, adds up the others in one row, and adds what nobody explains. The shares are
// whole percents that make 100; amounts beyond the total lessen all shares.
void share(Finding& finding, std::vector<WhoRow>& rows);
// Gives each of some amounts its whole percents of their sum, which make 100 if there is any; the largest remainders
// are rounded up.
void roundShares(std::vector<WhoRow*>& rows, const std::vector<double>& amounts);
