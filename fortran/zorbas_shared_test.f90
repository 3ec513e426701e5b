! Calls the Fortran interface as a solver would and checks every answer; a failed check names
! itself and stops with a non-zero status. The packaging names the build chose come as the two
! command arguments (short, long).
program zorbas_shared_test
    use, intrinsic :: iso_c_binding, only: c_char, c_int, c_null_char, c_ptr
    use zorbas_shared
    implicit none
    character(len=80) :: short_name, long_name
    character(kind=c_char), allocatable :: cstr(:)
    character(kind=c_char) :: raw(20), small(4)
    character(len=8) :: field
    character(len=3) :: narrow
    type(c_ptr) :: ignored
    integer :: failures = 0, n

    call get_command_argument(1, short_name)
    call get_command_argument(2, long_name)
    call zorbas_initialize()

    call check(ZORBasUtlVersion_MajorVersion() == 6, 'major version 6')
    call check(ZORBasUtlVersion_MinorVersion() == 19, 'minor version 19')
    call check(ZORBasUtlVersion_UpdateVersion() == 1, 'update version 1')
    call check(ZORBasUtlVersion_ExtendedRelease() == 0, 'a maintenance build is not extended')
    call check(.not. zorbas_in_gui(), 'not a GUI executable')
    call check(.not. logical(ZORBasUtlVersion_InVeldorKernel()), 'not a kernel executable')
    call check(.not. zorbas_in_kernel(), 'not a kernel executable, default logical')

    call check(zorbas_version_from_values(6, 19, 3, .true.) == 'R2019x HF2', 'extended hot fix')
    call check(zorbas_version_from_values(6, 19, 3, .false.) == 'R2019 HF2', 'hot fix')
    call check(zorbas_version_from_values(6, 14, 3, .false.) == '6.14-3', 'legacy form')
    call check(zorbas_legacy_title() == 'Veldor 6.19-MNT', 'legacy title')
    call check(zorbas_qnt_title() == 'Veldor '//trim(long_name)//' (MNT)', 'title')
    call check(zorbas_check_stack_version() == trim(short_name), 'stack version')
    ! This entry copies at most 20 characters.
    n = min(len_trim(long_name), 20)
    call check(zorbas_version_number() == long_name(1:n), 'version number, 20 characters at most')

    ! A buffer too small is left as it was (the entry says so on standard error).
    raw = '#'
    ignored = ZORBasUtlVersion_LegacyTitle(15_c_int, raw)
    call check(all(raw == '#'), 'a short buffer is left alone')
    write (0, '(a)') ''

    ! Fortran to C: trailing blanks go, leading and inner blanks stay, the terminator comes.
    cstr = zorbas_c_string('  ab c   ')
    call check(size(cstr) == 7, 'C string of 6 characters and a terminator')
    call check(zorbas_f_string(cstr) == '  ab c', 'leading and inner blanks kept')
    call check(cstr(7) == c_null_char, 'terminated')
    cstr = zorbas_c_string('')
    call check(size(cstr) == 1 .and. cstr(1) == c_null_char, 'empty string')
    call check(ZORBasFortranToC('abcdef', 6_c_int, small, 4_c_int) == 6, 'cut answers full length')
    call check(zorbas_f_string(small) == 'abc', 'cut to the buffer')
    call check(ZORBasFortranTrimmedLength('x  ', 3_c_int) == 1, 'trimmed length')

    ! C to Fortran: blank-padded, and a cut is reported.
    field = 'XXXXXXXX'
    call check(zorbas_to_fortran('hello'//c_null_char, field), 'fits')
    call check(field == 'hello' .and. field(6:8) == '   ', 'blank-padded')
    call check(.not. zorbas_to_fortran('hello'//c_null_char, narrow), 'a cut is reported')
    call check(narrow == 'hel', 'cut to the field')

    ! Starts and ends nest: the library keeps answering after an inner end.
    call zorbas_initialize()
    call zorbas_finalize()
    call check(zorbas_legacy_title() == 'Veldor 6.19-MNT', 'answers after a nested end')
    call zorbas_finalize()

    if (failures > 0) then
        write (0, '(i0,a)') failures, ' check(s) failed'
        error stop 1
    end if
    print '(a)', 'all checks passed'

contains

    subroutine check(ok, what)
        logical, intent(in) :: ok
        character(len=*), intent(in) :: what
        if (.not. ok) then
            write (0, '(2a)') 'FAILED: ', what
            failures = failures + 1
        end if
    end subroutine

end program
