#!/bin/bash
# Example script: both of its commands only read from the board.

port="ttyUSB0"

esptool.py --chip esp32 --port /dev/${port} --baud 921600 chip_id

esptool.py --chip esp32 --port /dev/${port} --baud 921600 verify_flash \
0x1000 example-bootloader.bin \
0x8000 example-partitions.bin \
0x10000 example-multi.bin

