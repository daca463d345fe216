// The role switch policy table: rows of 16 bits in a table the caller owns.
//
// Bits of a row: 0-2 slaves, 3-5 masters, 6-8 unsniffed masters, 9-11
// connections, 12 role switch on incoming connections, 13 forbid role switch
// on outgoing ones. With no table the counts answer 255 and the flags false.
// The table carries no length of its own; a caller that knows it passes the
// row count, and a row at or past that count answers as if there were no
// table. Without a count the row index is trusted.
#pragma once

class DMRoleSwitchPolicyTable {
public:
    static constexpr unsigned long kUnknownRows = ~0UL;
    static constexpr unsigned char kNoTable = 255;

    DMRoleSwitchPolicyTable() = default;
    explicit DMRoleSwitchPolicyTable(unsigned short* table, unsigned long rows = kUnknownRows)
        : mTable(table), mRows(rows) {}

    unsigned short* get_rs_table() const { return mTable; }
    void put_rs_table(unsigned short* table, unsigned long rows = kUnknownRows) {
        mTable = table;
        mRows = rows;
    }

    unsigned char slaves(unsigned long row) const { return count(row, 0); }
    unsigned char masters(unsigned long row) const { return count(row, 3); }
    unsigned char unsniffed_masters(unsigned long row) const { return count(row, 6); }
    unsigned char connections(unsigned long row) const { return count(row, 9); }
    bool roleswitch_incoming(unsigned long row) const { return flag(row, 12); }
    bool forbid_roleswitch_outgoing(unsigned long row) const { return flag(row, 13); }

private:
    bool has_row(unsigned long row) const { return mTable != nullptr && row < mRows; }
    unsigned char count(unsigned long row, unsigned shift) const {
        return has_row(row) ? static_cast<unsigned char>(mTable[row] >> shift & 7) : kNoTable;
    }
    bool flag(unsigned long row, unsigned bit) const { return has_row(row) && (mTable[row] >> bit & 1) != 0; }

    unsigned short* mTable = nullptr;
    unsigned long mRows = kUnknownRows;
};
