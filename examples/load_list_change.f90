! SPDX-License-Identifier: Apache-2.0
! Loads a deck, lists observations, corrects one, shows it in two formats and saves all.
!
!     gfortran obs_interface.f90 load_list_change.f90 $(pkg-config --libs obs) -o load_list_change
!     ./load_list_change deck.txt all.csv
!
! The programs beside this one do the same in C, C++ and Python and print the same.
program load_list_change
    use, intrinsic :: iso_c_binding, only: c_char, c_double, c_int32_t, c_int64_t
    use, intrinsic :: iso_fortran_env, only: error_unit
    use obs_interface
    implicit none
    integer(c_int32_t), parameter :: range_field = 9, by_sensor_ascending = -4, replace = 0, csv_form = 2

    ! All texts of Obs have 512 characters, blank-padded, which is how Fortran keeps them anyway.
    character(len=512) :: deck, csv_file, card, line
    integer(c_int64_t) :: loaded, duplicate, bad
    integer(c_int64_t), allocatable :: keys(:)
    integer(c_int32_t) :: status
    integer :: i

    if (command_argument_count() /= 2) then
        write (error_unit, '(a)') 'usage: load_list_change DECK CSV_FILE'
        stop 2
    end if
    call get_command_argument(1, deck)
    call get_command_argument(2, csv_file)

    ! The result tells of the last line only; the counts tell of all. Bad lines are left out.
    status = ObsLoadFile(deck)
    call check(ObsGetCount() > 0, 'Nothing was loaded')
    status = ObsGetLoadCounts(loaded, duplicate, bad)
    print '(i0, a, i0, a, i0, a)', loaded, ' observations loaded, ', duplicate, ' duplicate and ', bad, &
        ' bad ones left out'

    allocate (keys(ObsGetCount()))
    call ObsGetLoaded(by_sensor_ascending, keys)
    print '(a)', 'The first by sensor, satellite and time:'
    print '(a)', '                key satellite sensor type   days since 1950  el/dec deg   az/ra deg    range km'
    do i = 1, min(5, size(keys))
        call list(keys(i))
    end do

    call correct_range(keys(1))

    ! A conversion needs no stored observation; here its card comes from one.
    call check(ObsGetB3Card(keys(1), card) == 0, 'There is no card')
    call check(ObsB3ToCsv(card, line) == 0, 'The card cannot be converted')
    print '(a)', trim(card), trim(line)

    call check(ObsSaveFile(csv_file, replace, csv_form) == 0, 'The file cannot be written')
    print '(i0, a)', size(keys), ' observations saved'

contains

    ! Every failure leaves its reason as the thread's last error.
    subroutine check(done, what)
        logical, intent(in) :: done
        character(len=*), intent(in) :: what
        character(len=512) :: reason
        if (done) return
        status = FamilyGetLastError(reason)
        write (error_unit, '(3a)') what, ': ', trim(reason)
        stop 1
    end subroutine check

    subroutine list(key)
        integer(c_int64_t), intent(in) :: key
        character(kind=c_char) :: sec_class, type
        integer(c_int32_t) :: satellite, sensor, indicators(2), alt_sat_nums(2)
        real(c_double) :: days, el_or_dec, az_or_ra, range, range_rate, el_rate, az_rate, range_accel
        real(c_double) :: pos(3), vel(3), unused(128)
        call check(ObsGetAllFields(key, sec_class, satellite, sensor, days, el_or_dec, az_or_ra, range, range_rate, &
            el_rate, az_rate, range_accel, type, indicators(1), indicators(2), alt_sat_nums(1), alt_sat_nums(2), &
            pos, vel, unused) == 0, 'An observation cannot be read')
        print '(i19, i10, i7, a5, f18.8, 3f12.4)', key, satellite, sensor, type, days, el_or_dec, az_or_ra, range
    end subroutine list

    ! Adds 0.1 km to a range, as for a radar found to measure short. Fields are exchanged as texts.
    subroutine correct_range(key)
        integer(c_int64_t), intent(in) :: key
        character(len=512) :: before, wanted, after
        real(c_double) :: range
        call check(ObsGetField(key, range_field, before) == 0, 'The range cannot be read')
        read (before, *) range
        write (wanted, '(f0.15)') range + 0.1_c_double
        call check(ObsSetField(key, range_field, wanted) == 0, 'The range cannot be changed')
        call check(ObsGetField(key, range_field, after) == 0, 'The range cannot be read')
        print '(5a)', 'Range before: ', trim(before), ' km, after: ', trim(after), ' km'
    end subroutine correct_range

end program load_list_change
