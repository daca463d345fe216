-- Wireshark dissector for the two user interfaces of a wlbtfactory capture
-- (TAVO_CAPTURE or wlbt --capture):
--   link type 147 (USER 0): frames to and from the WLAN test firmware
--   link type 148 (USER 1): the AT commands and their results
-- The H4 interface (link type 201) is Wireshark's own.
--
-- Load it for one run:   wireshark -X lua_script:tools/wireshark/wlbt.lua FILE
--                        tshark -X lua_script:tools/wireshark/wlbt.lua -r FILE
-- or copy it into ~/.local/lib/wireshark/plugins/ for good.

local encaps = wtap_encaps or wtap

---------------------------------------------------------------------------
-- WLAN test firmware frames
---------------------------------------------------------------------------

local fw = Proto("wlbtfw", "WLAN test firmware frame")

local signal_names = {
    [0x2001] = "mib_get_req",          [0x2101] = "mib_get_cfm",
    [0x9005] = "cw_start_req",         [0x9101] = "cw_start_cfm",
    [0x9006] = "cw_stop_req",          [0x9103] = "cw_stop_cfm",
    [0x9007] = "set_tx_params_req",    [0x9102] = "set_tx_params_cfm",
    [0x9008] = "tx_start_req",         [0x9104] = "tx_start_cfm",
    [0x9009] = "tx_read_req",          [0x9105] = "tx_read_cfm",
    [0x900A] = "tx_stop_req",          [0x9106] = "tx_stop_cfm",
    [0x900B] = "rx_start_req",         [0x9107] = "rx_start_cfm",
    [0x900C] = "rx_read_req",          [0x9108] = "rx_read_cfm",
    [0x900D] = "rx_stop_req",          [0x9109] = "rx_stop_cfm",
    [0x901A] = "select_radio_req",     [0x9112] = "select_radio_cfm",
    [0x901F] = "bist_get_tx_gain_req", [0x9116] = "bist_get_tx_gain_cfm",
}

-- The size of each request's signal: a request frame has no header that
-- tells where the signal ends and the bulk begins.
local request_sizes = {
    [0x2001] = 24, [0x9005] = 42, [0x9006] = 22, [0x9007] = 46, [0x9008] = 50, [0x9009] = 22,
    [0x900A] = 22, [0x900B] = 44, [0x900C] = 22, [0x900D] = 22, [0x901A] = 24, [0x901F] = 28,
}

local result_names = {
    [0] = "success",
    [1] = "not handled in this state, or no RAM data capture",
    [38] = "invalid parameter",
    [48] = "not permitted at this time",
    [79] = "no power table row",
    [0x8003] = "not supported",
    [0x8006] = "out of memory",
}

local directions = { [0] = "sent to the firmware", [1] = "received from the firmware" }
local bandwidths = { [0] = "20 MHz", [1] = "40 MHz", [2] = "80 MHz" }

local F = {}
local function field(name, ftype, label, base, values)
    F[name] = ProtoField.new(label, "wlbtfw." .. name, ftype, values, base)
end
field("direction", ftypes.UINT32, "Direction", base.DEC, directions)
field("udi_length", ftypes.UINT32, "UDI header length", base.DEC)
field("udi_reserved", ftypes.BYTES, "UDI header, not read", base.NONE)
field("udi_signal_length", ftypes.UINT32, "UDI header signal length", base.DEC)
field("signal", ftypes.UINT16, "Signal id", base.HEX, signal_names)
field("head_reserved", ftypes.UINT16, "Reserved", base.HEX)
field("sender", ftypes.UINT16, "Client sender id", base.HEX)
field("head_reserved2", ftypes.UINT16, "Reserved", base.HEX)
field("bulk_length", ftypes.UINT16, "Bulk length", base.DEC)
field("result", ftypes.UINT16, "Result code", base.DEC, result_names)
field("freq", ftypes.UINT16, "Frequency (MHz)", base.DEC)
field("freq_offset", ftypes.INT32, "Frequency offset", base.DEC)
field("power", ftypes.INT8, "Power", base.DEC)
field("constant", ftypes.UINT8, "Constant", base.DEC)
field("amplitude", ftypes.UINT16, "Amplitude", base.DEC)
field("rate", ftypes.UINT16, "Rate code", base.HEX)
field("bandwidth", ftypes.UINT8, "Bandwidth", base.DEC, bandwidths)
field("position", ftypes.UINT8, "Channel position", base.DEC)
field("length", ftypes.UINT16, "Payload length", base.DEC)
field("interval", ftypes.UINT32, "Interval (us)", base.DEC)
field("flags", ftypes.UINT16, "Flags", base.HEX)
field("constant16", ftypes.UINT16, "Constant", base.HEX)
field("reg_domain", ftypes.UINT16, "Regulatory domain", base.DEC)
field("flags2", ftypes.UINT16, "Flags 2", base.HEX)
field("he_mode", ftypes.UINT16, "HE mode", base.DEC)
field("he_ru_allocation", ftypes.UINT8, "HE RU allocation", base.DEC)
field("he_ltf", ftypes.UINT8, "HE LTF", base.DEC)
field("frames", ftypes.UINT32, "Frames to send", base.DEC)
field("data_type", ftypes.UINT16, "Data type", base.DEC)
field("data_param", ftypes.UINT16, "Data parameter", base.DEC)
field("dest", ftypes.ETHER, "Destination address", base.NONE)
field("src", ftypes.ETHER, "Source address", base.NONE)
field("bssid", ftypes.ETHER, "BSS id", base.NONE)
field("mac", ftypes.ETHER, "MAC address", base.NONE)
field("radios", ftypes.UINT16, "Radio bitmap", base.HEX)
field("tx_gain", ftypes.UINT16, "TX gain", base.DEC)
field("rx_gain", ftypes.UINT16, "RX gain", base.DEC)
field("gain_word", ftypes.UINT32, "Complex gain word", base.HEX)
field("first16", ftypes.UINT16, "First value", base.DEC)
field("frames_left", ftypes.UINT32, "Frames left to send", base.DEC)
field("second32", ftypes.UINT32, "Second count", base.DEC)
field("tx_value", ftypes.UINT16, "Value", base.DEC)
field("first32", ftypes.UINT32, "First value", base.DEC)
field("freq_err_av", ftypes.INT32, "Frequency error, average", base.DEC)
field("rssi_cur", ftypes.INT16, "RSSI, current", base.DEC)
field("rssi_av", ftypes.INT16, "RSSI, average", base.DEC)
field("rssi_min", ftypes.INT16, "RSSI, minimum", base.DEC)
field("rssi_max", ftypes.INT16, "RSSI, maximum", base.DEC)
field("snr_cur", ftypes.INT16, "SNR, current", base.DEC)
field("snr_av", ftypes.INT16, "SNR, average", base.DEC)
field("snr_min", ftypes.INT16, "SNR, minimum", base.DEC)
field("snr_max", ftypes.INT16, "SNR, maximum", base.DEC)
field("count", ftypes.UINT16, "Count", base.DEC)
field("counter_id", ftypes.UINT16, "Counter id", base.HEX)
field("counter_value", ftypes.UINT32, "Counter value", base.DEC)
field("psid", ftypes.UINT16, "MIB psid", base.DEC)
field("index_count", ftypes.UINT16, "Index count", base.DEC)
field("index", ftypes.UINT8, "Index", base.DEC)
field("padding", ftypes.BYTES, "Padding", base.NONE)
field("not_read", ftypes.UINT16, "Not read", base.HEX)
field("vl_lead", ftypes.UINT8, "VL leading byte", base.HEX)
field("vl_uint", ftypes.UINT64, "VL value", base.DEC)
field("vl_negative", ftypes.BOOLEAN, "VL negative", base.NONE)
field("vl_string", ftypes.STRING, "VL octet string", base.NONE)
field("vl_bytes", ftypes.BYTES, "VL value bytes", base.NONE)
field("bulk", ftypes.BYTES, "Bulk data", base.NONE)
field("rest", ftypes.BYTES, "Bytes behind the frame", base.NONE)

local fields_list = {}
for _, f in pairs(F) do table.insert(fields_list, f) end
fw.fields = fields_list

local ef_short = ProtoExpert.new("wlbtfw.short", "Frame shorter than its fields", expert.group.MALFORMED, expert.severity.ERROR)
fw.experts = { ef_short }

-- The body fields of each signal: {field, offset, width}, little-endian.
local bodies = {
    [0x9005] = { {"freq", 10, 2}, {"power", 12, 1}, {"constant", 13, 1}, {"amplitude", 18, 2}, {"freq_offset", 20, 4} },
    [0x9007] = { {"freq", 10, 2}, {"rate", 12, 2}, {"bandwidth", 14, 1}, {"position", 15, 1}, {"power", 16, 1},
                 {"constant", 17, 1}, {"length", 18, 2}, {"interval", 20, 4}, {"flags", 24, 2},
                 {"constant16", 28, 2}, {"reg_domain", 30, 2}, {"flags2", 32, 2}, {"he_mode", 34, 2},
                 {"he_ru_allocation", 36, 1}, {"he_ltf", 37, 1} },
    [0x9008] = { {"frames", 10, 4}, {"data_type", 14, 2}, {"data_param", 16, 2}, {"dest", 18, 6, true},
                 {"src", 24, 6, true}, {"bssid", 30, 6, true} },
    [0x900B] = { {"freq", 10, 2}, {"bandwidth", 12, 1}, {"position", 13, 1}, {"flags", 14, 2}, {"mac", 16, 6, true} },
    [0x901A] = { {"radios", 10, 2} },
    [0x901F] = { {"freq", 10, 2}, {"tx_gain", 12, 2}, {"rx_gain", 14, 2} },
    [0x9105] = { {"first16", 12, 2}, {"frames_left", 14, 4}, {"second32", 18, 4}, {"tx_value", 22, 2},
                 {"tx_value", 24, 2}, {"tx_value", 26, 2}, {"tx_value", 28, 2}, {"tx_value", 30, 2},
                 {"tx_value", 32, 2}, {"tx_value", 34, 2}, {"tx_value", 36, 2} },
    [0x9108] = { {"first32", 12, 4}, {"freq_err_av", 16, 4}, {"rssi_cur", 20, 2}, {"rssi_av", 22, 2},
                 {"rssi_min", 24, 2}, {"rssi_max", 26, 2}, {"snr_cur", 28, 2}, {"snr_av", 30, 2},
                 {"snr_min", 32, 2}, {"snr_max", 34, 2}, {"interval", 36, 4} },
    [0x9116] = { {"gain_word", 12, 4} },
}

-- The index count of the last MIB request, by the confirm's frame number:
-- a confirm does not say how many index bytes precede its value.
local mib_index_count = {}
local last_mib_index_count = 0

-- Adds `width` bytes at `offset` of `range` as field `name`, when they are
-- there; else marks the frame short. Returns whether they were.
local function add(tree, range, name, offset, width, big_endian)
    if offset + width > range:len() then
        tree:add_proto_expert_info(ef_short, string.format("%s needs bytes %d to %d of %d", name, offset, offset + width - 1, range:len()))
        return false
    end
    if big_endian or width == 1 then
        tree:add(F[name], range(offset, width))
    else
        tree:add_le(F[name], range(offset, width))
    end
    return true
end

local function dissect_vl(tree, range)
    if range:len() < 1 then return end
    local lead = range(0, 1):uint()
    tree:add(F.vl_lead, range(0, 1))
    if bit.band(lead, 0x80) == 0 then
        tree:add(F.vl_negative, range(0, 1), bit.band(lead, 0x40) ~= 0)
        tree:add(F.vl_uint, range(0, 1), UInt64(bit.band(lead, 0x3F)))
        return
    end
    local count = bit.band(lead, 0x1F)
    tree:add(F.vl_negative, range(0, 1), bit.band(lead, 0x40) ~= 0)
    if 1 + count > range:len() then
        tree:add_proto_expert_info(ef_short, "VL value longer than the bulk")
        return
    end
    if bit.band(lead, 0x20) == 0 then
        if count == 0 then return end
        if count <= 8 then tree:add(F.vl_uint, range(1, count), range(1, count):uint64()) end
        return
    end
    -- An octet string: a big-endian length of `count` bytes, then the content.
    if count == 0 or count > 4 then return end
    local length = range(1, count):uint()
    local start = 1 + count
    if start + length > range:len() then
        tree:add_proto_expert_info(ef_short, "VL octet string longer than the bulk")
        return
    end
    if length > 0 then
        tree:add(F.vl_string, range(start, length))
        tree:add(F.vl_bytes, range(start, length))
    end
end

local function dissect_bulk(tree, id, bulk, pinfo)
    local btree = tree:add(F.bulk, bulk)
    if id == 0x900C then  -- rx_read_req: n, then n counter ids
        if not add(btree, bulk, "count", 0, 2) then return end
        local n = bulk(0, 2):le_uint()
        for i = 0, n - 1 do
            if not add(btree, bulk, "counter_id", 2 + 2 * i, 2) then return end
        end
    elseif id == 0x9108 then  -- rx_read_cfm: n, then n values
        if not add(btree, bulk, "count", 0, 2) then return end
        local n = bulk(0, 2):le_uint()
        for i = 0, n - 1 do
            if not add(btree, bulk, "counter_value", 2 + 4 * i, 4) then return end
        end
    elseif id == 0x2001 then  -- mib_get_req: psid, L, L indices, padding
        if not add(btree, bulk, "psid", 0, 2) then return end
        if not add(btree, bulk, "index_count", 2, 2) then return end
        local n = bulk(2, 2):le_uint()
        if not pinfo.visited then last_mib_index_count = n end
        for i = 0, n - 1 do
            if not add(btree, bulk, "index", 4 + i, 1) then return end
        end
        if bulk:len() > 4 + n then btree:add(F.padding, bulk(4 + n)) end
    elseif id == 0x2101 then  -- mib_get_cfm: psid, not read, the indices, the VL value
        if not pinfo.visited then mib_index_count[pinfo.number] = last_mib_index_count end
        local n = mib_index_count[pinfo.number] or 0
        if not add(btree, bulk, "psid", 0, 2) then return end
        if not add(btree, bulk, "not_read", 2, 2) then return end
        for i = 0, n - 1 do
            if not add(btree, bulk, "index", 4 + i, 1) then return end
        end
        if bulk:len() > 4 + n then dissect_vl(btree, bulk(4 + n)) end
    end
end

function fw.dissector(tvb, pinfo, tree)
    pinfo.cols.protocol = "WLAN-FW"
    local subtree = tree:add(fw, tvb())
    if tvb:len() < 4 then
        subtree:add_proto_expert_info(ef_short, "no direction header")
        return
    end
    subtree:add(F.direction, tvb(0, 4))
    local received = tvb(0, 4):uint() == 1
    pinfo.cols.src = received and "firmware" or "host"
    pinfo.cols.dst = received and "host" or "firmware"
    local frame = tvb(4)
    if tvb:len() == 4 then return end

    local signal, bulk, rest
    if received then
        -- UDI header: total length, 8 bytes, signal length; then the signal.
        if not add(subtree, frame, "udi_length", 0, 4) then return end
        add(subtree, frame, "udi_reserved", 4, 8)
        if not add(subtree, frame, "udi_signal_length", 12, 4) then return end
        local total = frame(0, 4):le_uint()
        local signal_length = frame(12, 4):le_uint()
        if 16 + signal_length > frame:len() or signal_length == 0 then
            subtree:add_proto_expert_info(ef_short, "signal longer than the frame")
            return
        end
        signal = frame(16, signal_length)
        local stop = math.min(total, frame:len())
        if stop > 16 + signal_length then bulk = frame(16 + signal_length, stop - 16 - signal_length) end
        if frame:len() > total and total >= 16 then rest = frame(total) end
        if total > frame:len() then subtree:add_proto_expert_info(ef_short, "UDI length past the frame") end
    else
        local id = frame:len() >= 2 and frame(0, 2):le_uint() or nil
        local size = (id and request_sizes[id]) or frame:len()
        size = math.min(size, frame:len())
        signal = frame(0, size)
        if frame:len() > size then bulk = frame(size) end
    end

    if not add(subtree, signal, "signal", 0, 2) then return end
    local id = signal(0, 2):le_uint()
    local name = signal_names[id] or string.format("signal 0x%04x", id)
    add(subtree, signal, "head_reserved", 2, 2)
    add(subtree, signal, "sender", 4, 2)
    add(subtree, signal, "head_reserved2", 6, 2)
    add(subtree, signal, "bulk_length", 8, 2)
    local info = name
    local is_confirm = bit.band(id, 0x0100) ~= 0 and id ~= 0x2101
    if is_confirm and signal:len() >= 12 then
        add(subtree, signal, "result", 10, 2)
        local code = signal(10, 2):le_uint()
        info = info .. (code == 0 and "" or string.format(" result %d (%s)", code, result_names[code] or "firmware error"))
    end
    for _, row in ipairs(bodies[id] or {}) do
        if not add(subtree, signal, row[1], row[2], row[3], row[4]) then break end
    end
    if id == 0x9007 or id == 0x9005 or id == 0x900B or id == 0x901F then
        if signal:len() >= 12 then info = info .. string.format(" %d MHz", signal(10, 2):le_uint()) end
    end
    if bulk then dissect_bulk(subtree, id, bulk, pinfo) end
    if rest then subtree:add(F.rest, rest) end
    subtree:append_text(", " .. name)
    pinfo.cols.info = info
end

---------------------------------------------------------------------------
-- AT commands and results
---------------------------------------------------------------------------

local at = Proto("wlbtat", "Factory AT interface")
local at_kinds = { [0] = "command", [1] = "result" }
local A = {
    kind = ProtoField.uint8("wlbtat.kind", "Kind", base.DEC, at_kinds),
    rc = ProtoField.int32("wlbtat.rc", "Return code", base.DEC),
    command_length = ProtoField.uint16("wlbtat.command_length", "Command length", base.DEC),
    command = ProtoField.string("wlbtat.command", "Command"),
    result = ProtoField.string("wlbtat.result", "Result"),
}
at.fields = { A.kind, A.rc, A.command_length, A.command, A.result }
local ef_at_short = ProtoExpert.new("wlbtat.short", "Record shorter than its fields", expert.group.MALFORMED, expert.severity.ERROR)
at.experts = { ef_at_short }

-- Line ends made visible, as the wlbt tool shows them.
local function visible(text)
    return (text:gsub("\r", "\\r"):gsub("\n", "\\n"))
end

function at.dissector(tvb, pinfo, tree)
    pinfo.cols.protocol = "AT"
    local subtree = tree:add(at, tvb())
    if tvb:len() < 7 then
        subtree:add_proto_expert_info(ef_at_short, "record shorter than its 7-byte head")
        return
    end
    subtree:add(A.kind, tvb(0, 1))
    subtree:add(A.rc, tvb(1, 4))
    subtree:add(A.command_length, tvb(5, 2))
    local kind = tvb(0, 1):uint()
    local length = tvb(5, 2):uint()
    if 7 + length > tvb:len() then
        subtree:add_proto_expert_info(ef_at_short, "command longer than the record")
        return
    end
    local command = length > 0 and tvb(7, length):string() or ""
    if length > 0 then subtree:add(A.command, tvb(7, length)) end
    pinfo.cols.src = kind == 0 and "station" or "library"
    pinfo.cols.dst = kind == 0 and "library" or "station"
    if kind == 0 then
        pinfo.cols.info = visible(command)
        return
    end
    local result = ""
    if tvb:len() > 7 + length then
        result = tvb(7 + length):string()
        subtree:add(A.result, tvb(7 + length))
    end
    pinfo.cols.info = string.format("rc %d \"%s\" (%s)", tvb(1, 4):int(), visible(result), visible(command))
end

local encap_table = DissectorTable.get("wtap_encap")
encap_table:add(encaps.USER0, fw)
encap_table:add(encaps.USER1, at)
