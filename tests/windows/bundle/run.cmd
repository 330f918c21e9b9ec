@echo off
rem Finds a 64-bit Python 2.7 and runs the tests by it. README.txt tells the rest.
setlocal
set "given="
set "options="
rem What is set for another Python would mislead this one.
set "PYTHONHOME="
set "PYTHONPATH="

:next_word
if "%~1"=="" goto find
set "word=%~1"
if "%word:~0,2%"=="--" goto option
set "given=%~1"
shift
goto next_word
:option
set options=%options% %1
if "%word%"=="--only" set options=%options% %2
if "%word%"=="--only" shift
shift
goto next_word

:find
set "python="
if defined given call :try "%given%"
if defined given if not defined python goto refused
if not defined python call :try C:\Python27\python.exe
if not defined python for /f "delims=" %%p in ('py -2.7 -c "import sys; print(sys.executable)" 2^>nul') do call :try "%%p"
if not defined python goto missing
"%python%" -B "%~dp0run_tests.py" %options%
exit /b %errorlevel%

:try
if not exist "%~1" exit /b
"%~1" -c "import struct, sys; sys.exit(sys.version_info[:2] != (2, 7) or struct.calcsize('P') != 8)" >nul 2>nul
if not errorlevel 1 set "python=%~1"
exit /b

:refused
echo run.cmd: this is no 64-bit Python 2.7: %given%
exit /b 1

:missing
echo run.cmd: there is no 64-bit Python 2.7 in C:\Python27, and the launcher "py" knows none.
echo Install it, or say where it is: run.cmd D:\Python27\python.exe
exit /b 1
