// Every protocol value type, for the packet views and the command factory.
#pragma once

#include "pdu/values/bdaddr.h"
#include "pdu/values/byte_values.h"
#include "pdu/values/channel_maps.h"
#include "pdu/values/class_of_device.h"
#include "pdu/values/dm_sync_config.h"
#include "pdu/values/event_mask.h"
#include "pdu/values/helper.h"
#include "pdu/values/l2ca_config.h"
#include "pdu/values/names.h"
#include "pdu/values/role_switch.h"
#include "pdu/values/sm_key_state.h"
