#!/bin/sh
# publish_card.sh NODE: publishes a line card and a capability in $OX_MOM_STORE, with trel_capctl.
set -eu
node=$1 model=900

trel_capctl set /l3/arp/capacity --int 4096
trel_capctl set "card_info:0:0:$node:0" config_dev_type=$model is_online=1 card_nodeid="$node" \
  static_info.node_type=3 static_info.name=LC
trel_capctl set "app_df_card_deny_check_result:0:0:$node:0" stat=1 config_dev_type=$model card_nodeid="$node"
trel_capctl set "cap_fe_ready:$node:$model" ready=1 config_dev_type=$model devid=0 slotid="$node" sslotid=0 \
  node_type=3 real_time=1
trel_capctl set cap_glb_state ready=1
