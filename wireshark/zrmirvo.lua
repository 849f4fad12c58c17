-- Shows recordings of the phone-projection service, as libzrmirvo-recorder.so writes them.
-- docs/recording.md and docs/wire.md describe the bytes.

local zrmirvo = Proto("zrmirvo", "Phone projection")

local KINDS = {
    [1] = "request", [2] = "reply", [3] = "no reply", [6] = "notification",
    [100] = "recording begins", [101] = "bound", [102] = "no service", [103] = "released",
    [104] = "listener set", [105] = "listener removed", [106] = "status",
    [107] = "callback ended", [108] = "gap",
}
local REQUEST, REPLY, NO_REPLY, NOTIFY = 1, 2, 3, 6
local BEGIN, STATUS, ENDED, GAP = 100, 106, 107, 108

-- The fields of each class, in the order in which they travel.
local ITEMS = {
    [130] = { "version:text" },
    [131] = { "command:i32", "intValue:i32", "longValue:i64", "stringValue:text", "boolValue:flag" },
    [134] = { "accessory:u32", "command:i32", "intValue:i32", "longValue:i64", "stringValue:text",
              "boolValue:flag" },
    [135] = { "accessory:u32", "command:i32", "time:u64", "count:i32", "action:i32", "extra:i32",
              "pointers:pointers" },
    [136] = { "accessory:u32", "command:i32", "intValue:i32", "size:i32", "data:bytes" },
    [137] = { "accessory:u32", "command:i32", "value1:i32", "value2:i32", "value3:i32", "value4:i32",
              "value5:i32" },
}
local REPLIES = {
    [129] = { "result:i32", "intValue:i32", "longValue:i64", "stringValue:text" },
    [130] = { "count:i32", "ids:ids" },
    [131] = { "result:i32", "size:i32", "data:bytes" },
    [133] = { "version:text" },
}
local NOTIFICATIONS = {
    [130] = { "notifyType:i32", "accessory:u32" },
    [133] = { "accessory:u32", "notifyType:i32", "intValue:i32", "intValue2:i32", "longValue:i64",
              "stringValue:text", "boolValue:one" },
    [134] = { "accessory:u32", "notifyType:i32", "size:i32", "data:bytes" },
}
local CLASSES = { [REQUEST] = ITEMS, [REPLY] = REPLIES, [NOTIFY] = NOTIFICATIONS }

-- By class and command, and by class and notifyType.
local OPERATIONS = {
    [130] = { [0] = "getVersion" },
    [131] = { "startup", "shutdown", "disconnect", "setConfigFile", "setBluetoothConfig", "getMirvo",
              "getIds", "getHidDescriptor", "connect" },
    [134] = { "setNotifier", "sendKeyEvent", "sendCalibrateEvent", "sendVideoFocus", "cookKeyEvent",
              "cookCalibrateEvent", "sendOnReadyForPairing", "sendForceLandscape",
              "sendTimeDateInquiry" },
    [135] = { "sendTouchEvent", "cookTouchEvent" },
    [136] = { "setFeature" },
    [137] = { [0] = "sendDisplayConfiguration" },
}
local EVENTS = {
    [130] = { "attach", "detach" },
    [133] = { [0] = "unavailable", "state", "orientation", "error" },
    [134] = { "request", "response", "descriptor", "hid" },
}

local f = {
    -- Fields of the record.
    left_out = ProtoField.uint16("zrmirvo.left_out", "Left out", base.HEX),
    thread = ProtoField.uint32("zrmirvo.thread", "Thread"),
    binding = ProtoField.uint32("zrmirvo.binding", "Binding"),
    listener = ProtoField.uint32("zrmirvo.listener", "Listener"),
    monotonic = ProtoField.uint64("zrmirvo.monotonic", "Monotonic time in ns"),
    duration = ProtoField.uint64("zrmirvo.duration", "Duration in ns"),
    kind = ProtoField.uint16("zrmirvo.kind", "Kind", base.DEC, KINDS),
    type = ProtoField.int32("zrmirvo.type", "Type"),
    sequence = ProtoField.uint32("zrmirvo.sequence", "Sequence"),
    length = ProtoField.uint32("zrmirvo.length", "Length of the content"),
    offset = ProtoField.uint32("zrmirvo.offset", "Offset of this part"),
    -- Fields that are derived from these.
    operation = ProtoField.string("zrmirvo.operation", "Operation"),
    event = ProtoField.string("zrmirvo.event", "Event"),
    reply_in = ProtoField.framenum("zrmirvo.reply_in", "Reply in", base.NONE, frametype.RESPONSE),
    request_in = ProtoField.framenum("zrmirvo.request_in", "Request in", base.NONE,
                                     frametype.REQUEST),
    ended_in = ProtoField.framenum("zrmirvo.ended_in", "Callback ended in"),
    notification_in = ProtoField.framenum("zrmirvo.notification_in", "Notification in"),
    between = ProtoField.relative_time("zrmirvo.between", "Time between"),
    -- Fields of the messages.
    accessory = ProtoField.uint32("zrmirvo.accessory", "Accessory"),
    command = ProtoField.int32("zrmirvo.command", "command"),
    notifyType = ProtoField.int32("zrmirvo.notifyType", "notifyType"),
    result = ProtoField.int32("zrmirvo.result", "result"),
    intValue = ProtoField.int32("zrmirvo.intValue", "intValue"),
    intValue2 = ProtoField.int32("zrmirvo.intValue2", "intValue2"),
    longValue = ProtoField.int64("zrmirvo.longValue", "longValue"),
    stringValue = ProtoField.string("zrmirvo.stringValue", "stringValue"),
    boolValue = ProtoField.bool("zrmirvo.boolValue", "boolValue"),
    version = ProtoField.string("zrmirvo.version", "version"),
    time = ProtoField.uint64("zrmirvo.time", "time"),
    count = ProtoField.int32("zrmirvo.count", "count"),
    action = ProtoField.int32("zrmirvo.action", "action"),
    extra = ProtoField.int32("zrmirvo.extra", "extra"),
    array1 = ProtoField.uint32("zrmirvo.array1", "array1"),
    array2 = ProtoField.uint32("zrmirvo.array2", "array2"),
    array3 = ProtoField.uint32("zrmirvo.array3", "array3"),
    value1 = ProtoField.int32("zrmirvo.value1", "value1"),
    value2 = ProtoField.int32("zrmirvo.value2", "value2"),
    value3 = ProtoField.int32("zrmirvo.value3", "value3"),
    value4 = ProtoField.int32("zrmirvo.value4", "value4"),
    value5 = ProtoField.int32("zrmirvo.value5", "value5"),
    size = ProtoField.int32("zrmirvo.size", "size"),
    data = ProtoField.bytes("zrmirvo.data", "data"),
    ids = ProtoField.uint32("zrmirvo.ids", "ids"),
    status = ProtoField.int32("zrmirvo.status", "Status"),
    missing = ProtoField.uint64("zrmirvo.missing", "Missing records"),
    process = ProtoField.uint32("zrmirvo.process", "Process"),
    file = ProtoField.uint32("zrmirvo.file", "File"),
    program = ProtoField.string("zrmirvo.program", "Program"),
}
zrmirvo.fields = f

local short = ProtoExpert.new("zrmirvo.short", "The content is too short", expert.group.MALFORMED,
                              expert.severity.WARN)
local failed = ProtoExpert.new("zrmirvo.failed", "The operation failed",
                               expert.group.RESPONSE_CODE, expert.severity.NOTE)
zrmirvo.experts = { short, failed }

-- The sizes of the kinds that always have the same size. The size of the others depends on the bytes
-- before them.
local NUMBERS = { i32 = 4, u32 = 4, i64 = 8, u64 = 8, flag = 4, one = 4 }

-- A text and its size with the zero behind it. Nothing when that is missing, which stringz() would
-- take for an error of this script.
local function text_at(content, place)
    if place >= content:len() then return nil end
    local rest = content:range(place)
    local size = rest:raw():find("\0", 1, true)
    if size == nil then return nil end
    return rest:stringz(), size
end

-- Adds the fields of a message in `content`, a range, to the tree. Returns their values by name, and
-- whether all of them were there.
local function dissect_fields(list, content, tree)
    local values, place = {}, 0
    local function left() return content:len() - place end
    local function take(size)
        local range = content:range(place, size)
        place = place + size
        return range
    end
    local function u32(name)
        tree:add_le(f[name], take(4))
    end

    for _, entry in ipairs(list) do
        local name, kind = entry:match("^(%w+):(%w+)$")
        local size = NUMBERS[kind]
        if size ~= nil then
            if left() < size then return values, false end
            local range = take(size)
            if kind == "flag" or kind == "one" then
                local number = range:le_int()
                local value = number == 1 or (kind == "flag" and number ~= 0)
                tree:add(f[name], range, value)
            else
                tree:add_le(f[name], range)
                values[name] = kind == "u32" and range:le_uint() or size == 4 and range:le_int() or nil
            end
        elseif kind == "text" then
            local text, size = text_at(content, place)
            if text == nil then return values, false end
            tree:add(f[name], take(size), text)
        elseif kind == "bytes" then
            local count = math.max(values.size, 0)
            if left() < count then return values, false end
            if count > 0 then tree:add(f[name], take(count)) end
        elseif kind == "ids" then
            for _ = 1, values.count do
                if left() < 4 then return values, false end
                u32("ids")
            end
        elseif kind == "pointers" then
            for _ = 1, values.count do
                if left() < 12 then return values, false end
                u32("array1")
                u32("array2")
                u32("array3")
            end
        end
    end
    return values, left() == 0
end

-- The packets that begin something which has not ended yet, by sequence; and for each packet, by its
-- number, the packets that belong to it.
local open, linked = {}, {}
function zrmirvo.init()
    open, linked = {}, {}
end

-- Connects a packet that ends something with the packet that began it. Wireshark shows the packets in
-- their order once, and in any order afterwards.
local function link(pinfo, kind, sequence, time, beginning)
    local own = linked[pinfo.number]
    if own ~= nil then return own end
    own = {}
    linked[pinfo.number] = own
    if kind == BEGIN then
        -- The sequences begin anew, unless this is the next file of the same recording.
        if beginning.file == 0 then open = {} end
    elseif kind == REQUEST or kind == NOTIFY or kind == STATUS then
        own.first = { number = pinfo.number, time = time, name = beginning.name,
                      accessory = beginning.accessory }
        open[sequence] = own
    elseif open[sequence] ~= nil and sequence ~= 0 then
        own.first = open[sequence].first
        own.between = (time - own.first.time):tonumber()
        open[sequence].last = pinfo.number
        open[sequence] = nil
    end
    return own
end

local function add_generated(tree, field, value)
    if value ~= nil then tree:add(field, value):set_generated() end
end

local function nanoseconds(number)
    return NSTime.new(math.floor(number / 1e9), number % 1e9)
end

local function dissect_message(kind, type, content, tree)
    local list = CLASSES[kind] and CLASSES[kind][type]
    if list == nil then return {} end
    local values, whole = dissect_fields(list, content, tree)
    if not whole then tree:add_proto_expert_info(short) end
    if kind == REQUEST then
        values.name = (OPERATIONS[type] or {})[values.command or 0]
        if values.name == "getMirvo" then values.accessory = values.intValue end
    elseif kind == NOTIFY then
        values.name = (EVENTS[type] or {})[values.notifyType]
    end
    return values
end

local function dissect_other(kind, content, tree)
    local values = {}
    if kind == STATUS and content:len() >= 4 then
        tree:add_le(f.status, content:range(0, 4))
        values.name = content:range(0, 4):le_int() == 2 and "service lost" or "status"
    elseif kind == GAP and content:len() >= 8 then
        tree:add_le(f.missing, content:range(0, 8))
    elseif kind == BEGIN and content:len() > 12 then
        tree:add_le(f.process, content:range(0, 4))
        tree:add_le(f.file, content:range(4, 4))
        values.file = content:range(4, 4):le_uint()
        values.name = text_at(content, 12)
        if values.name ~= nil then tree:add(f.program, content:range(12), values.name) end
    end
    return values
end

function zrmirvo.dissector(buffer, pinfo, root)
    if buffer:len() < 52 then return 0 end
    local kind, type = buffer(34, 2):le_uint(), buffer(36, 4):le_int()
    local sequence, length = buffer(40, 4):le_uint(), buffer(44, 4):le_uint()
    local offset = buffer(48, 4):le_uint()
    local tree = root:add(zrmirvo, buffer())
    tree:add_le(f.left_out, buffer(2, 2))
    tree:add_le(f.thread, buffer(4, 4))
    tree:add_le(f.binding, buffer(8, 4))
    tree:add_le(f.listener, buffer(12, 4))
    tree:add_le(f.monotonic, buffer(16, 8))
    if kind == REPLY or kind == NO_REPLY or kind == ENDED then
        tree:add_le(f.duration, buffer(24, 8))
    end
    tree:add_le(f.kind, buffer(34, 2))
    tree:add_le(f.type, buffer(36, 4))
    tree:add_le(f.sequence, buffer(40, 4))
    tree:add_le(f.length, buffer(44, 4))
    pinfo.cols.protocol = "zrmirvo"
    local info = KINDS[kind] or ("kind " .. kind)

    -- Only the first part of a long content begins at a field.
    if offset > 0 then
        tree:add_le(f.offset, buffer(48, 4))
        pinfo.cols.info = info .. ", from byte " .. offset .. " on"
        return buffer:len()
    end

    local content = buffer:range(52)
    if buffer:len() == 52 then content = buffer:range(0, 0) end
    local values = CLASSES[kind] and dissect_message(kind, type, content, tree) or
        dissect_other(kind, content, tree)
    local own = link(pinfo, kind, sequence, buffer(16, 8):le_uint64(), values)
    local first = own.first or {}
    local name, accessory = values.name or first.name, values.accessory or first.accessory
    local is_operation = kind == REQUEST or kind == REPLY or kind == NO_REPLY
    local is_event = kind == NOTIFY or kind == STATUS or kind == ENDED
    if is_operation then
        name = name or "unknown"
        add_generated(tree, f.operation, name)
    elseif is_event then
        name = name or "unknown"
        add_generated(tree, f.event, name)
    end
    if values.accessory == nil or kind == REQUEST and name == "getMirvo" then
        add_generated(tree, f.accessory, accessory)
    end
    if first.number == pinfo.number then
        add_generated(tree, kind == REQUEST and f.reply_in or f.ended_in, own.last)
    elseif first.number ~= nil then
        add_generated(tree, is_operation and f.request_in or f.notification_in, first.number)
        add_generated(tree, f.between, nanoseconds(own.between))
    end

    if name ~= nil then info = info .. " " .. name end
    if accessory ~= nil then info = info .. " " .. accessory end
    if values.result ~= nil then
        info = info .. " -> " .. values.result
        if values.result ~= 0 then tree:add_proto_expert_info(failed) end
    end
    pinfo.cols.info = info
    return buffer:len()
end

DissectorTable.get("wtap_encap"):add(wtap.USER0, zrmirvo)
