# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# The system's sources: one list for the user-space build and for the kernel's.
MAC_MNG_SOURCES := \
	config/mac_cfg_default.cc \
	config/mac_cfg_map.cc \
	config/mac_cfg_new.cc \
	config/mac_cfg_old.cc \
	config/mac_config.cc \
	config/mac_entery_xml.cc \
	config/mac_entry.cc \
	storage/formats/mac_kolbe.cc \
	storage/formats/mac_mesg.cc \
	storage/formats/mac_qolt.cc \
	storage/formats/mac_router.cc \
	storage/media/mac_chip.cc \
	storage/media/mac_env.cc \
	storage/driver/mac_driver.cc \
	core/mac_area.cc \
	core/mac_data.cc \
	core/mac_data_io.cc \
	core/mac_data_sync.cc \
	service/mac_address.cc \
	service/mac_export.cc \
	service/mac_func.cc \
	control/mac_diag.cc \
	control/mac_ioctl.cc \
	control/mac_ioctl_handler.cc \
	control/mac_module.cc \
	control/mac_show.cc

# Bodies that both platforms share.
MAC_COMMON_SOURCES := \
	platform/common/board_tree.cc \
	platform/common/bounded.cc \
	platform/common/crc16.cc \
	platform/common/env_image.cc \
	platform/common/write_guard.cc
