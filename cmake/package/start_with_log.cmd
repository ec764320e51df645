@echo off
set PM_CLIENT_LOG=1
start "" "%~dp0bin\netplay-lobby.exe" %*
